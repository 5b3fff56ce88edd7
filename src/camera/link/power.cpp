#include "camera/link/power.h"

#include "camera/link/stored_frame.h"

namespace fieldrelaybox {

namespace {

constexpr auto power_frame =
    make_frame_of({.receiver = device::buttons, .set = 0x09, .id = 0x51}, 0);

} // namespace

void send_power_word(PowerWord word) {
    send_stored_frame(power_frame, static_cast<std::uint8_t>(word));
}

} // namespace fieldrelaybox
