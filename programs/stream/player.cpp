// The picture on the box's own screen.
#include "stream/codecs.h"
#include "stream/kinds.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace stream {

namespace {

struct Screen {
    const char* variable; // is set where there is such a display
    const char* sink;
};

// No sink for X11 can fill the screen, so there it is a window, which the user may enlarge.
constexpr std::array screens{
    Screen{"WAYLAND_DISPLAY", "waylandsink fullscreen=true"},
    Screen{"DISPLAY", "videoscale ! ximagesink"},
};

// The display of whoever runs it, else the screen itself.
Words screen() {
    const auto* const found = std::ranges::find_if(
        screens, [](const Screen& it) { return std::getenv(it.variable) != nullptr; });
    return words_of(found == screens.end() ? "kmssink" : found->sink);
}

} // namespace

Plan plan_player(const ConfigRecord& /*settings*/, const Surroundings& surroundings) {
    return {.command = Command{surroundings.folder + "/video-player",
                               joined({words_of("-q udpsrc address=127.0.0.1 port=6000 "
                                                "do-timestamp=true buffer-size=2000000 "
                                                "reuse=false ! h264units !"),
                                       h264_decoder(surroundings),
                                       words_of("! queue leaky=downstream max-size-buffers=1 ! "
                                                "videoconvert !"),
                                       screen(), words_of("sync=false")})},
            .fault = ""};
}

} // namespace stream
