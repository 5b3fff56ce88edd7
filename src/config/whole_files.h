// Files of settings that must not be found half written: how they are written, and how a whole one
// is told from the rest of one.
#pragma once

#include <string>

namespace fieldrelaybox {

// Why a step failed, for the log; empty when it did not.
using Failure = std::string;

// That of the system call that has just failed.
Failure failure_of(const char* action, const std::string& path);

// Empties the file, or makes it with mode 0600, and writes text in one piece; on the medium when it
// returns. On FAT this outlives a power cut better than a new file that takes the place of the old
// one.
Failure write_file(const std::string& path, const std::string& text);

// The same, but what cannot be written whole is removed.
Failure write_file_or_none(const std::string& path, const std::string& text);

// Puts a file of mode 0600 with this text in the place of path, under another name first: whoever
// reads meanwhile finds the old one or the new one, whole. On the medium when it returns.
Failure replace_private_file(const std::string& path, const std::string& text);

// Puts one file in the place of another at once.
Failure rename_file(const std::string& from, const std::string& to);

// Empty when it cannot be read.
std::string read_file(const std::string& path);

// A file with the heading that every save writes was cut short when its last setting is missing, or
// without a line end has no value or one whose closing quote is missing; one without the heading
// was written by hand, and holds a setting at least. packaging/bin/prepare-configuration decides
// likewise.
bool holds_whole_settings(const std::string& text);

} // namespace fieldrelaybox
