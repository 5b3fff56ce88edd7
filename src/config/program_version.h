// The version, which is alike for all programs of the box.
#pragma once

#include <string>

namespace fieldrelaybox {

// MAJOR.MINOR.PATCH
std::string version_text();

// Prints the program's name and the version on standard output. Always 0, the status to end with.
int print_version_of(const char* program);

} // namespace fieldrelaybox
