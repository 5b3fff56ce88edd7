// Two whole frames in a row put it in step wherever they stand, be it in the midst of what began
// like a frame before. Where nothing but a header and an end tell a frame, garbage has such pairs,
// too: there they have to say nearly the same, as a hand's sticks do, or a pause has to follow,
// which ends a true frame and a false one hardly ever. A pause cannot be waited for: whoever reads
// late sees none, and some receivers leave none.
#include "rcin/frame_collector.h"

#include <algorithm>

namespace rcin {
namespace {

using fieldrelaybox::Bytes;

constexpr std::size_t frames_in_a_row = 2;

// Without checksum, pause or likeness: garbage hardly ever has so many in a row, though every
// second byte of it be a header or an end.
constexpr std::size_t unlike_frames_in_a_row = 7;

constexpr std::size_t kept_bytes = 3 * longest_serial_frame; // a row of the shorter ones as well

Bytes bytes_from(const FrameCollector& collector, std::size_t start) {
    return Bytes(collector.bytes).subspan(start);
}

// 0 where no frame begins, where it is not complete and where it would reach across a pause.
std::size_t whole_length(const FrameCollector& collector, std::size_t start) {
    const Bytes begun = bytes_from(collector, start);
    const std::size_t length = begun.empty() ? 0 : collector.protocol.frame_length(begun);
    const bool crosses = start < collector.pause && start + length > collector.pause;
    return length > begun.size() || crosses ? 0 : length;
}

// Whether count frames from start on end with the last byte, by their lengths alone.
bool lengths_fit(const FrameCollector& collector, std::size_t start, std::size_t count) {
    for (; count > 0; --count) {
        const std::size_t length = whole_length(collector, start);
        if (length == 0)
            return false;
        start += length;
    }
    return start == collector.bytes.size();
}

bool all_valid(const FrameCollector& collector, std::size_t start) {
    while (start < collector.bytes.size()) {
        const std::size_t length = whole_length(collector, start);
        if (!collector.protocol.is_valid(bytes_from(collector, start).first(length)))
            return false;
        start += length;
    }
    return true;
}

// Where the count valid frames in a row begin that the last byte ends.
std::optional<std::size_t> row_of_frames(const FrameCollector& collector, std::size_t count) {
    const std::size_t size = collector.bytes.size();
    for (std::size_t start = size - std::min(size, count * longest_serial_frame); start < size;
         ++start) {
        if (lengths_fit(collector, start, count) && all_valid(collector, start))
            return start;
    }
    return std::nullopt;
}

// The same out of step, where frames have no checksum.
std::optional<std::size_t> row_without_pause(const FrameCollector& collector) {
    const auto pair = row_of_frames(collector, frames_in_a_row);
    if (!pair)
        return {};
    const std::size_t length = whole_length(collector, *pair);
    const Bytes frames = bytes_from(collector, *pair);
    if (collector.protocol.are_alike(frames.first(length), frames.subspan(length)))
        return pair;
    return row_of_frames(collector, unlike_frames_in_a_row);
}

std::optional<std::size_t> believed_row(const FrameCollector& collector) {
    if (collector.protocol.are_alike == nullptr)
        return row_of_frames(collector, collector.in_step ? frames_in_a_row : 1);
    return collector.in_step ? std::nullopt : row_without_pause(collector);
}

void hand_over_from(FrameCollector& collector, std::size_t start, const TakeFrame& take) {
    while (start < collector.bytes.size()) {
        const std::size_t length = whole_length(collector, start);
        if (const auto frame =
                collector.protocol.decode(bytes_from(collector, start).first(length)))
            take(*frame);
        start += length;
    }
    collector.next = start;
    collector.in_step = true;
}

// In step: whether what stands next is a frame, or may become one.
bool may_be_frame(const FrameCollector& collector) {
    const Bytes begun = bytes_from(collector, collector.next);
    const std::size_t length = collector.protocol.frame_length(begun);
    return length > begun.size() || (length == begun.size() && collector.protocol.is_valid(begun));
}

void look_for_frames(FrameCollector& collector, const TakeFrame& take) {
    collector.in_step = collector.in_step && may_be_frame(collector);
    if (collector.in_step && whole_length(collector, collector.next) != 0)
        return hand_over_from(collector, collector.next, take);
    if (const auto start = believed_row(collector))
        hand_over_from(collector, *start, take);
}

void forget_first(FrameCollector& collector, std::size_t count) {
    using Offset = std::vector<std::uint8_t>::difference_type;
    const auto first = collector.bytes.begin();
    collector.bytes.erase(first, first + static_cast<Offset>(count));
    for (std::size_t* place : {&collector.next, &collector.pause})
        *place -= std::min(*place, count);
}

// A whole frame before the silence stays as the first of two in a row.
void drop_incomplete(FrameCollector& collector) {
    forget_first(collector, row_of_frames(collector, 1).value_or(collector.bytes.size()));
    collector.next = collector.bytes.size();
    collector.in_step = false;
}

bool is_incomplete(const FrameCollector& collector) {
    return collector.next < collector.bytes.size();
}

} // namespace

void take_byte(FrameCollector& collector, std::uint8_t byte, std::int64_t now_us,
               const TakeFrame& take) {
    if (collector.bytes.size() == 2 * kept_bytes)
        forget_first(collector, kept_bytes);
    collector.bytes.push_back(byte);
    collector.last_us = now_us;
    look_for_frames(collector, take);
}

void take_nothing(FrameCollector& collector, std::int64_t now_us, const TakeFrame& take) {
    if (now_us < silence_due(collector))
        return;
    if (const auto row = row_of_frames(collector, frames_in_a_row))
        hand_over_from(collector, *row, take);
    else
        drop_incomplete(collector);
    collector.pause = collector.bytes.size();
}

std::int64_t silence_due(const FrameCollector& collector) {
    return is_incomplete(collector) ? collector.last_us + line_silence_us : never_us;
}

void spoil(FrameCollector& collector) {
    forget_first(collector, collector.bytes.size());
    collector.in_step = false;
}

} // namespace rcin
