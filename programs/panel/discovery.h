// Looking for boxes on the networks of this computer: whom to ask, and who has answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <vector>

namespace panel {

inline constexpr std::size_t most_found = 16;
inline constexpr std::int64_t found_time_us = 10'000'000; // an answer counts so long

struct FoundBox {
    sockaddr_in address;
    std::int64_t answered_us;
};

// Addresses in network order, at most 32 of each.
struct Surroundings {
    std::vector<in_addr_t> asked; // everyone, each network, this computer
    std::vector<in_addr_t> own;
};

// As they are now.
Surroundings read_surroundings();

// The address that a box is known by: one on this computer has many, and is known by 127.0.0.1.
sockaddr_in known_address(const Surroundings& surroundings, const sockaddr_in& address);

// Notes an answer. Whether it is of a box that was not known yet; in a full list it takes the place
// of the one that has not answered for the longest time.
bool note_answer(std::vector<FoundBox>& found, const sockaddr_in& box, std::int64_t now_us);

// Forgets who has not answered for found_time_us. Whether there was one.
bool forget_silent(std::vector<FoundBox>& found, std::int64_t now_us);

} // namespace panel
