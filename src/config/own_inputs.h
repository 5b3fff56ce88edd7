// Where the box itself receives: what is sent there as media would come back for ever, or be taken
// for commands.
#pragma once

#include <cstdint>
#include <netinet/in.h>

namespace fieldrelaybox {

inline constexpr std::uint16_t video_source_port = 5000;
inline constexpr std::uint16_t audio_source_port = 4001;
inline constexpr std::uint16_t transcoded_video_port = 3001;
inline constexpr std::uint16_t control_port = 4242; // the apps
inline constexpr std::uint16_t camera_port = 5001;

// Whether one of these ports of the box is among the receiver's, so many from its own up, and its
// address is loopback, an interface's now, one that reaches every interface (0.0.0.0), or a
// broadcast one. May ask the system.
bool is_own_input(const sockaddr_in& receiver, int ports);

} // namespace fieldrelaybox
