// What the launcher does next with its child: starts it, ends it or waits, and for how long.
// Nothing here touches the system; all times are milliseconds of the timer clock. Entered by the
// launcher's loop.
#pragma once

#include <cstdint>
#include <optional>

namespace stream {

// What is known of the settings and of the child.
struct Supervision {
    bool wanted = false;                  // the settings ask for a program
    bool stopping = false;                // the launcher is to end
    std::int64_t longest_pause_ms = 5000; // after faults

    // The settings' last changes; what follows one soon belongs to it.
    std::optional<std::int64_t> first_change_ms{};
    std::int64_t last_change_ms = 0;
    bool being_written = false; // they are only a part

    bool running = false;
    bool outdated = false; // the child runs something else than what is wanted
    std::int64_t started_ms = 0;
    std::optional<std::int64_t> complained_ms{}; // when it said that it failed
    std::optional<std::int64_t> asked_ms{};      // when it was asked to end
    bool hung = false;                           // because it failed and did not end
    bool killed = false;

    std::int64_t earliest_start_ms = 0;
    int faults = 0;     // in a row
    int short_runs = 0; // in a row, that were no faults
};

enum class Action : std::uint8_t {
    wait,
    start,
    ask,  // the child to end
    kill, // the child, which did not
    leave // the launcher ends
};

struct Decision {
    Action action;
    std::optional<std::int64_t> until_ms; // for wait: when to decide anew at the latest
};

// What is due at now.
Decision decide(const Supervision& supervision, std::int64_t now);

// The file of settings was touched: nothing is started before it was quiet for a while, and while
// it is being written, not until that is done.
void note_change(Supervision& supervision, std::int64_t now, bool being_written);

// Somebody wrote, and neither went on nor closed the file for so long that he never will.
bool was_left_unfinished(const Supervision& supervision, std::int64_t now);

// The file of settings is not whole although it is quiet: puts the start off for a moment. False
// when that lasts too long for who can do without the file.
bool wait_for_rest(Supervision& supervision, std::int64_t now);

// Something else is wanted than before; what went wrong with that no longer counts.
void note_other_command(Supervision& supervision);

void note_start(Supervision& supervision, std::int64_t now);

// The child was asked to end.
void note_request(Supervision& supervision, std::int64_t now);

// How a child ended.
enum class Ending : std::uint8_t {
    asked,   // as the launcher wished
    outside, // somebody else's signal, or at its own end and without a complaint
    fault
};

// The child has ended, as far as it was not asked to. Returns the pause in milliseconds before it
// may start again.
std::int64_t note_end(Supervision& supervision, std::int64_t now, Ending ending);

} // namespace stream
