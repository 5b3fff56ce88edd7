// A receiver and its device: opened, read while it is there, and looked for again when it is gone.
#pragma once

#include "rcin/input.h"
#include "rcin/modes.h"
#include "rcin/receiver.h"

#include <cstdint>
#include <optional>
#include <poll.h>
#include <span>
#include <string>
#include <vector>

namespace rcin {

struct Attachment {
    std::string name; // for the log
    Wiring wiring;
    Receiver receiver;
    std::optional<Input> input;
    std::int64_t read_due_us = never_us; // though nothing has come
    std::int64_t open_due_us = never_us; // of the next try
    std::string fault;                   // why there is no device
    std::string hint;                    // the last one that was told
    State told = State::off;
    std::string told_fault;
    std::int64_t told_us = 0;
};

// The device is tried at once, in the next call of serve.
void attach(Attachment& attachment, std::string name, Wiring wiring, std::int64_t now_us);

// Adds what is to be polled.
void list_descriptors(const Attachment& attachment, std::vector<pollfd>& polled);

// When serve is due though nothing comes.
std::int64_t due_us(const Attachment& attachment, std::int64_t now_us);

// Does what is due. polled: the attachment's own, with what came of polling them.
void serve(Attachment& attachment, std::span<const pollfd> polled, std::int64_t now_us);

// Logs what has become of it, at most once a second: what went by quicker is left out. A device
// that is missing is told once for each cause. learning: as for combine.
void tell_state(Attachment& attachment, bool learning, std::int64_t now_us);

} // namespace rcin
