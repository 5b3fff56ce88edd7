// The JSON commands of the apps, taken apart once for all that answer them in this room.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

struct cJSON;

namespace fieldrelaybox {

// A member that is missing or not a string reads as the empty text.
struct AppRequest {
    std::string command; // "cmd"
    std::string name;
    std::string param;
    std::array<std::string, 12> values; // "value", "value2" ... "value12"
};

// The text of object's member called name, "" when it is missing or not a string.
std::string text_member(const cJSON* object, const char* name);

// Nothing when text is not JSON.
std::optional<AppRequest> parse_app_request(const char* text, std::size_t length);

// A switch is on for exactly "1" and "true".
bool is_true(const std::string& value);

} // namespace fieldrelaybox
