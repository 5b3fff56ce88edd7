#include "panel/outbox.h"

#include <algorithm>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

constexpr std::size_t media_bytes_limit = outbox_bytes - outbox_status_bytes;
constexpr std::uint8_t link_code = 5;
constexpr unsigned panel_topic = 0x10000; // beyond those of records
constexpr unsigned report_topic = 0x20000;

std::size_t size_of(const SharedMessage& message) {
    return bytes_of(*message).size();
}

bool is_picture(const SharedMessage& message) {
    return bytes_of(*message)[0] == static_cast<std::uint8_t>(MessageKind::picture);
}

std::int64_t time_of(const SharedMessage& media) {
    const Bytes bytes = bytes_of(*media);
    return static_cast<std::int64_t>(fieldrelaybox::get_u32le(&bytes[2]) |
                                     std::uint64_t{fieldrelaybox::get_u32le(&bytes[6])} << 32);
}

bool replace_status(Outbox& outbox, const SharedMessage& message, unsigned topic) {
    const auto old = std::ranges::find(outbox.status, std::optional(topic), &WaitingStatus::topic);
    if (old == outbox.status.end())
        return false;
    const std::size_t others = outbox.status_bytes - size_of(old->message);
    if (others + size_of(message) > outbox_status_bytes)
        return true; // the old one stays
    outbox.status_bytes = others + size_of(message);
    old->message = message;
    return true;
}

bool has_status_room(const Outbox& outbox, const SharedMessage& message) {
    return outbox.status_bytes + size_of(message) <= outbox_status_bytes;
}

template<class IsLeaving> void drop_status(Outbox& outbox, IsLeaving is_leaving) {
    std::erase_if(outbox.status, [&](const WaitingStatus& waiting) {
        const bool leaves = waiting.topic && is_leaving(*waiting.topic);
        if (leaves)
            outbox.status_bytes -= size_of(waiting.message);
        return leaves;
    });
}

bool add_status(Outbox& outbox, const SharedMessage& message, std::optional<unsigned> topic) {
    if (!has_status_room(outbox, message)) {
        if (topic && *topic != report_topic)
            return true;
        drop_status(outbox, [](unsigned old) { return old != report_topic; });
        if (!has_status_room(outbox, message))
            return false;
    }
    outbox.status.push_back({message, topic});
    outbox.status_bytes += size_of(message);
    return true;
}

bool has_media_room(const Outbox& outbox, const SharedMessage& message) {
    return outbox.media_bytes + size_of(message) <= media_bytes_limit;
}

bool has_waited(const Outbox& outbox, const SharedMessage& newest) {
    return !outbox.media.empty() && time_of(outbox.media.front()) + media_wait_us < time_of(newest);
}

void add_media(Outbox& outbox, const SharedMessage& message) {
    outbox.media.push_back(message);
    outbox.media_bytes += size_of(message);
}

SharedMessage take_media(Outbox& outbox) {
    SharedMessage message = std::move(outbox.media.front());
    outbox.media.pop_front();
    if (outbox.group_left > 0)
        --outbox.group_left;
    else
        outbox.media_bytes -= size_of(message);
    return message;
}

// What waits, pictures and the sound between them.
void leave_out_media(Outbox& outbox) {
    outbox.pictures_left_out +=
        static_cast<std::uint64_t>(std::ranges::count_if(outbox.media, is_picture));
    drop_media(outbox);
}

} // namespace

std::optional<unsigned> topic_of(const SharedMessage& message) {
    const Bytes bytes = bytes_of(*message);
    if (bytes[0] == static_cast<std::uint8_t>(MessageKind::panel))
        return panel_topic;
    if (bytes.size() < 2)
        return std::nullopt;
    if (is_json_text(bytes.subspan(1)))
        return is_report(bytes.subspan(1)) ? std::optional(report_topic) : std::nullopt;
    const bool is_link = bytes[1] == link_code && bytes.size() > 2;
    return bytes[1] | (is_link ? bytes[2] + 1U : 0U) << 8;
}

bool put_status(Outbox& outbox, const SharedMessage& message) {
    const std::optional<unsigned> topic = topic_of(message);
    return (topic && replace_status(outbox, message, *topic)) || add_status(outbox, message, topic);
}

bool put_told(Outbox& outbox, const SharedMessage& message) {
    return add_status(outbox, message, std::nullopt);
}

void put_picture(Outbox& outbox, const SharedMessage& picture, std::uint8_t flags) {
    const bool is_key = (flags & picture_is_key) != 0;
    if (!has_media_room(outbox, picture) || (is_key && has_waited(outbox, picture)))
        leave_out_media(outbox);
    if ((outbox.awaits_key && !is_key) || !has_media_room(outbox, picture)) {
        ++outbox.pictures_left_out;
        return;
    }
    outbox.awaits_key = false;
    add_media(outbox, picture);
}

void put_sound(Outbox& outbox, const SharedMessage& frame) {
    while (has_waited(outbox, frame) && !is_picture(outbox.media.front()))
        take_media(outbox);
    if (has_media_room(outbox, frame))
        add_media(outbox, frame);
}

void put_first_group(Outbox& outbox, const std::vector<SharedMessage>& pictures) {
    outbox.media.insert(outbox.media.begin(), pictures.begin(), pictures.end());
    outbox.group_left = pictures.size();
    outbox.awaits_key = pictures.empty();
}

void drop_records(Outbox& outbox) {
    drop_status(outbox, [](unsigned) { return true; });
}

void drop_media(Outbox& outbox) {
    outbox.media.clear();
    outbox.media_bytes = 0;
    outbox.group_left = 0;
    outbox.awaits_key = true;
}

SharedMessage take_next(Outbox& outbox) {
    if (outbox.status.empty())
        return outbox.media.empty() ? nullptr : take_media(outbox);
    SharedMessage message = std::move(outbox.status.front().message);
    outbox.status.pop_front();
    outbox.status_bytes -= size_of(message);
    return message;
}

} // namespace panel
