#include "panel/holds.h"

#include "panel/times.h"

#include <algorithm>

namespace panel {
namespace {

constexpr int fastest_turn = 1000;
constexpr const char* report_question = R"({"cmd":"configrequest"})"; // the box obeys in order

Hold& hold_of(Holds& holds, Held what) {
    return holds.holds[static_cast<std::size_t>(what)];
}

Motion within_limits(Held what, Motion motion) {
    if (what == Held::zoom)
        return {std::clamp(motion.a, -1, 1), 0};
    return {std::clamp(motion.a, -fastest_turn, fastest_turn),
            std::clamp(motion.b, -fastest_turn, fastest_turn)};
}

void send_motion(Held what, Motion motion, const SendCommand& send) {
    if (what == Held::zoom)
        send(R"({"cmd":"zoom","param":"-3","value1":")" + std::to_string(motion.a) + "\"}");
    else
        send(R"({"cmd":"position","param":"moverel","value1":")" + std::to_string(motion.a) +
             R"(","value2":")" + std::to_string(motion.b) + "\"}");
}

bool is_late_stop(const Hold& hold) {
    return hold.stops_left <= late_stop_count;
}

void send_stop(Held what, Hold& hold, std::int64_t now_us, const SendCommand& send) {
    --hold.stops_left;
    hold.stop_us = now_us + (is_late_stop(hold) ? repeat_late_stop_us : repeat_stop_us);
    send_motion(what, {}, send);
    if (is_late_stop(hold))
        send(report_question);
}

void begin_stop(Held what, Hold& hold, std::int64_t now_us, const SendCommand& send) {
    hold.stops_left = stop_count + late_stop_count;
    send_stop(what, hold, now_us, send);
}

// What rests already has been stopped.
void stop_motion(Held what, Hold& hold, std::int64_t now_us, const SendCommand& send) {
    if (hold.motion == Motion{})
        return;
    hold.motion = {};
    begin_stop(what, hold, now_us, send);
}

void end_hold(Held what, Hold& hold, std::int64_t now_us, const SendCommand& send) {
    hold.holder = 0;
    stop_motion(what, hold, now_us, send);
}

void send_move(Held what, Hold& hold, std::int64_t now_us, const SendCommand& send) {
    hold.may_move = true;
    hold.stops_left = 0;
    hold.repeat_us = now_us + repeat_move_us;
    send_motion(what, hold.motion, send);
}

// Called with what is held and its hold, for each.
template<class Call> void for_each_hold(Holds& holds, const Call& call) {
    for (std::size_t i = 0; i < held_count; ++i)
        call(static_cast<Held>(i), holds.holds[i]);
}

bool moves(const Hold& hold) {
    return hold.motion != Motion{};
}

std::int64_t hold_due_us(const Hold& hold) {
    return std::min({hold.holder != 0 ? hold.ends_us : never_us,
                     moves(hold) ? hold.repeat_us : never_us,
                     hold.stops_left > 0 ? hold.stop_us : never_us});
}

} // namespace

bool hold(Holds& holds, Held what, BrowserId browser, Motion motion, std::int64_t now_us,
          const SendCommand& send) {
    Hold& held = hold_of(holds, what);
    if (held.holder != 0 && held.holder != browser && now_us < held.ends_us)
        return false;
    held.holder = browser;
    held.ends_us = now_us + hold_time_us;
    const Motion wanted = within_limits(what, motion);
    if (wanted == held.motion)
        return true;
    if (wanted == Motion{}) {
        stop_motion(what, held, now_us, send);
        return true;
    }
    held.motion = wanted;
    send_move(what, held, now_us, send);
    return true;
}

void release(Holds& holds, Held what, BrowserId browser, std::int64_t now_us,
             const SendCommand& send) {
    Hold& held = hold_of(holds, what);
    if (held.holder == browser)
        end_hold(what, held, now_us, send);
}

void release_all(Holds& holds, BrowserId browser, std::int64_t now_us, const SendCommand& send) {
    for (std::size_t i = 0; i < held_count; ++i)
        release(holds, static_cast<Held>(i), browser, now_us, send);
}

void end_holds(Holds& holds, const SendCommand& send) {
    for_each_hold(holds, [&send](Held what, Hold& hold) {
        for (int i = 0; hold.may_move && i < stop_count; ++i)
            send_motion(what, {}, send);
        hold = {};
    });
}

void doubt_rest(Holds& holds) {
    for (Hold& hold : holds.holds)
        hold.may_move = true;
}

void stop_again(Holds& holds, std::int64_t now_us, const SendCommand& send) {
    for_each_hold(holds, [now_us, &send](Held what, Hold& hold) {
        if (hold.may_move && !moves(hold) && hold.stops_left == 0)
            begin_stop(what, hold, now_us, send);
    });
}

void take_answer(Holds& holds) {
    for (Hold& hold : holds.holds) {
        if (hold.stops_left == 0 || !is_late_stop(hold))
            continue;
        hold.stops_left = 0;
        hold.may_move = false;
    }
}

bool may_move(const Holds& holds) {
    return std::ranges::any_of(holds.holds, &Hold::may_move);
}

void pass_time(Holds& holds, std::int64_t now_us, const SendCommand& send) {
    for_each_hold(holds, [now_us, &send](Held what, Hold& hold) {
        if (hold.holder != 0 && now_us >= hold.ends_us)
            end_hold(what, hold, now_us, send);
        if (moves(hold) && now_us >= hold.repeat_us)
            send_move(what, hold, now_us, send);
        if (hold.stops_left > 0 && now_us >= hold.stop_us)
            send_stop(what, hold, now_us, send);
    });
}

std::int64_t due_us(const Holds& holds) {
    std::int64_t due = never_us;
    for (const Hold& hold : holds.holds)
        due = std::min(due, hold_due_us(hold));
    return due;
}

BrowserId holder_of(const Holds& holds, Held what) {
    return holds.holds[static_cast<std::size_t>(what)].holder;
}

} // namespace panel
