// Commands run through /bin/sh. Only fixed texts with numbers and checked names may come here.
// Unit tests link a recorder in place of shell.cpp.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace fieldrelaybox {

// How long a command that is killed is waited for.
inline constexpr int kill_patience_ms = 1000;

// Runs command and waits for it. Returns its exit status, or -1 when it could not be started or was
// ended by a signal.
int run_shell_command(const char* command);

// Where a command's standard error goes: to the daemon's own, which is the log, or nowhere.
enum class Complaints { to_log, nowhere };

// The same, but a command that takes longer than time_limit_ms is killed together with its children
// and returns -1, after kill_patience_ms at most when it does not die. For callers that must not
// stand still behind a hanging tool.
int run_shell_command(const char* command, int time_limit_ms,
                      Complaints complaints = Complaints::to_log);

// Runs command and hands its standard output line by line to on_line, each with its line feed;
// lines longer than line_limit characters come in pieces of that size. A command that takes longer
// than time_limit_ms is killed together with its children; lines that came before are handed out
// all the same. Returns what run_shell_command does.
int query_shell_command(const char* command, std::size_t line_limit, int time_limit_ms,
                        const std::function<void(std::string_view)>& on_line);

} // namespace fieldrelaybox
