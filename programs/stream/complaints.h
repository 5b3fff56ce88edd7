// What a program says on its standard error, and what of it becomes the cause in a line of the log.
// Entered by the launcher, line by line.
#pragma once

#include "stream/pipeline.h"

#include <string>
#include <string_view>

namespace stream {

// What a child has said since its start.
struct Complaint {
    bool failed = false; // it told that it cannot do its work
    std::string text;    // its first such line
    std::string detail;  // behind the line with the place in the source
    std::string last_line;
    int lines_to_detail = 0; // lines that are left until the detail; 0: it is not awaited
};

// Takes the next line, without its line feed.
void hear(Complaint& complaint, std::string_view line);

// What it told of, or else its last line; empty when it said nothing.
std::string cause_of(const Complaint& complaint);

// The parts of arguments that nobody may read in a log: user and password of an address, its query,
// and the path of one with which a streaming server is addressed, which has the stream's key.
Words secrets_of(const Words& arguments);

// text with *** in the place of each of the secrets, and of user and password in addresses.
std::string masked(std::string text, const Words& secrets);

} // namespace stream
