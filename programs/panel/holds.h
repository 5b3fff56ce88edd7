// Who moves the gimbal and who drives the zoom. A move lasts as long as its browser repeats it: a
// browser that is gone, whatever ended it, stops moving by itself.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace panel {

using BrowserId = std::uint32_t; // never 0, never used twice

enum class Held : std::uint8_t { gimbal, zoom };
inline constexpr std::size_t held_count = 2;

// The page repeats its hold every 200 ms; within 500 ms after the last one the stop is on its way.
inline constexpr std::int64_t hold_time_us = 400'000;
// The move is sent again so often while it is held, and the stop so often at once, against loss.
inline constexpr std::int64_t repeat_move_us = 1'000'000;
inline constexpr int stop_count = 3;
inline constexpr std::int64_t repeat_stop_us = 60'000;
// From the last of these on the box is asked for something, and until it has answered the stop goes
// on: nothing may have reached the box. It ends some time, as the box may obey others by then.
inline constexpr int late_stop_count = 30;
inline constexpr std::int64_t repeat_late_stop_us = 500'000;

// Gimbal: speeds of pan and tilt, -1000 to 1000. Zoom: direction -1, 1 in a.
struct Motion {
    int a = 0;
    int b = 0;
    bool operator==(const Motion&) const = default;
};

struct Hold {
    BrowserId holder = 0; // 0: nobody
    Motion motion;
    std::int64_t ends_us = 0;
    std::int64_t repeat_us = 0; // when the move is sent again
    bool may_move = false;      // it was moved, and no stop was answered since
    int stops_left = 0;
    std::int64_t stop_us = 0; // when the next of these is sent
};

struct Holds {
    std::array<Hold, held_count> holds{};
};

// The command to the box, as JSON.
using SendCommand = std::function<void(const std::string& json)>;

// False when another one holds it: then nothing happens. A motion of zeros stops what moves, and
// stays a hold. Of the zoom only the direction counts.
bool hold(Holds& holds, Held what, BrowserId browser, Motion motion, std::int64_t now_us,
          const SendCommand& send);

// Stops at once what the browser holds; one that does not hold it changes nothing.
void release(Holds& holds, Held what, BrowserId browser, std::int64_t now_us,
             const SendCommand& send);
void release_all(Holds& holds, BrowserId browser, std::int64_t now_us, const SendCommand& send);

// Ends all; the repeated stops go at once as well, and nothing of the box is known any more. For
// the end of the program, or another box.
void end_holds(Holds& holds, const SendCommand& send);

// Another panel may have moved everything, and ended before its stop.
void doubt_rest(Holds& holds);
// Stops what may move and is not held, once more. For when the box is heard again.
void stop_again(Holds& holds, std::int64_t now_us, const SendCommand& send);
// The box has sent its report, so that it has got the stop before the request.
void take_answer(Holds& holds);
bool may_move(const Holds& holds);

// Ends what was not repeated, and repeats moves and stops that are due.
void pass_time(Holds& holds, std::int64_t now_us, const SendCommand& send);
std::int64_t due_us(const Holds& holds);

BrowserId holder_of(const Holds& holds, Held what);

} // namespace panel
