// The address of a box that the user gave by its name. Asking may take half a minute, so a thread
// of its own does it, one at a time.
#pragma once

#include "panel/times.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <string>

namespace panel {

inline constexpr std::int64_t repeat_lookup_us = 10 * second_us;

struct NameLookup {
    std::string host;                                   // empty: there is no name to ask for
    std::shared_ptr<std::atomic<std::uint64_t>> answer; // null: nothing is under way
    std::int64_t due_us = 0;                            // when follow_lookup has something to do
    bool told_unknown = false;
};

// Begins to ask when it is time and wanted, and looks whether an answer came: the address. That the
// name is not known is logged once.
std::optional<in_addr> follow_lookup(NameLookup& lookup, bool wanted, std::int64_t now_us);

// When to call it. wanted: as above.
std::int64_t due_us(const NameLookup& lookup, bool wanted);

} // namespace panel
