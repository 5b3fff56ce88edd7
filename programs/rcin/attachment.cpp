#include "rcin/attachment.h"

#include "core/log.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace rcin {

namespace {

constexpr std::int64_t try_again_us = 1'000'000;
constexpr std::int64_t tell_again_us = 1'000'000;

// By State.
constexpr std::array state_words{
    "off",         "no device",   "the device is there, waiting for a signal",
    "calibrating", "signal lost", "failsafe: the receiver has lost the transmitter",
    "signal good",
};

void open_device(Attachment& attachment, std::int64_t now_us) {
    Opened opened = attachment.wiring.open(attachment.wiring.device);
    attachment.input = std::move(opened.input);
    note_device(attachment.receiver, attachment.input.has_value());
    attachment.fault = std::move(opened.fault);
    // What it has to say may be there already, or come by the time alone.
    attachment.read_due_us = attachment.input ? now_us : never_us;
    attachment.open_due_us = attachment.input ? never_us : now_us + try_again_us;
    if (!opened.hint.empty() && opened.hint != attachment.hint) {
        attachment.hint = std::move(opened.hint);
        fieldrelaybox::log_line("%s: %s", attachment.name.c_str(), attachment.hint.c_str());
    }
}

void drop_device(Attachment& attachment, std::int64_t now_us) {
    attachment.input.reset();
    note_device(attachment.receiver, false);
    attachment.fault = "it went away";
    attachment.read_due_us = never_us;
    attachment.open_due_us = now_us + try_again_us;
}

void read_device(Attachment& attachment, bool hung_up, std::int64_t now_us) {
    const Reading reading = attachment.input->read(
        now_us, [&receiver = attachment.receiver, now_us](const Frame& frame) {
            note_frame(receiver, frame, now_us);
        });
    attachment.read_due_us = reading.wake_us;
    // A device that hung up stays readable for ever.
    if (reading.gone || hung_up)
        drop_device(attachment, now_us);
}

} // namespace

void attach(Attachment& attachment, std::string name, Wiring wiring, std::int64_t now_us) {
    attachment.name = std::move(name);
    attachment.wiring = std::move(wiring);
    attachment.receiver.is_on = attachment.wiring.open != nullptr;
    attachment.open_due_us = attachment.receiver.is_on ? now_us : never_us;
    attachment.told_us = now_us - tell_again_us;
}

void list_descriptors(const Attachment& attachment, std::vector<pollfd>& polled) {
    if (attachment.input)
        for (const int descriptor : attachment.input->descriptors)
            polled.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
}

std::int64_t due_us(const Attachment& attachment, std::int64_t now_us) {
    return std::min(
        {attachment.read_due_us, attachment.open_due_us, loss_us(attachment.receiver, now_us)});
}

void serve(Attachment& attachment, std::span<const pollfd> polled, std::int64_t now_us) {
    const auto has = [polled](int events) {
        return std::ranges::any_of(
            polled, [events](const pollfd& each) { return (each.revents & events) != 0; });
    };
    constexpr int hang_up = POLLERR | POLLHUP | POLLNVAL;
    if (attachment.input && (has(POLLIN | hang_up) || now_us >= attachment.read_due_us))
        read_device(attachment, has(hang_up), now_us);
    if (now_us >= attachment.open_due_us)
        open_device(attachment, now_us);
}

void tell_state(Attachment& attachment, bool learning, std::int64_t now_us) {
    const State state = state_while(learning, attachment.receiver, now_us);
    const std::string fault = state == State::no_device ? attachment.fault : "";
    if (state == State::no_device && fault.empty())
        return; // not tried yet
    if ((state == attachment.told && fault == attachment.told_fault) ||
        now_us - attachment.told_us < tell_again_us)
        return;
    const char* const word = state_words[static_cast<std::size_t>(state)];
    if (fault.empty())
        fieldrelaybox::log_line("%s: %s", attachment.name.c_str(), word);
    else
        fieldrelaybox::log_warning("%s: %s: %s", attachment.name.c_str(), word, fault.c_str());
    attachment.told = state;
    attachment.told_fault = fault;
    attachment.told_us = now_us;
}

} // namespace rcin
