// The kinds of streams: what each runs, for which settings. The one place that knows pipelines.
#pragma once

#include "fieldrelaybox/shared_memory.h"
#include "stream/pipeline.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace stream {

// A program to run. Two that are equal do the same, so a stream whose command stays the same goes
// on when settings change.
struct Command {
    std::string
        program;     // a path, or a name that is looked up in PATH; `killall` knows its last part
    Words arguments; // without the program's name

    bool operator==(const Command&) const = default;
};

// What a stream is to do.
struct Plan {
    std::optional<Command> command; // none: it is off
    std::string fault;              // why it is off, or what it has to do without; else empty
};

// What plans depend on besides the settings.
struct Surroundings {
    std::string folder;                                // where the launcher and its siblings lie
    std::string source_config;                         // the file that names source and sound card
    std::function<bool(std::string_view)> has_element; // whether GStreamer has that element here
    std::string sound_cards = "/proc/asound/cards";    // the kernel's list
};

struct Kind {
    std::string_view name;
    std::string_view help;       // for `stream --list`
    std::string_view off_reason; // why it is off when its plan names no fault
    bool needs_settings;         // else it is planned without a settings file, too
    bool reads_source_config;
    int longest_pause_ms; // between faults; shorter where a picture is awaited soon
    Plan (*plan)(const ConfigRecord& settings, const Surroundings& surroundings);
};

std::span<const Kind> kinds();

// Null when there is no such kind.
const Kind* find_kind(std::string_view name);

// The plans, each in a file of its own or with its like.
Plan plan_rtmp(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_mpegts(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_tcp(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_rtsp(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_transcode(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_player(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_sound(const ConfigRecord& settings, const Surroundings& surroundings);
Plan plan_source(const ConfigRecord& settings, const Surroundings& surroundings);

} // namespace stream
