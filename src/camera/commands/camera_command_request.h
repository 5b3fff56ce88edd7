// One camera command as its handlers see it, and the table of command words.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace fieldrelaybox {

// The members of the JSON object; one that is missing or not a string is empty.
struct CameraCommandRequest {
    std::string word; // "cmd"
    std::string param;
    std::string value1;
    std::string value2;
};

struct CameraCommand {
    std::string_view word;
    void (*handle)(const CameraCommandRequest& request);
};

// Every command word with its handler.
std::span<const CameraCommand> camera_commands();

} // namespace fieldrelaybox
