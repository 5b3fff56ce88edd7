// The JSON commands of the apps, taken apart once for all that answer them.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

struct cJSON;

namespace fieldrelaybox {

// A member that is missing or not a string reads as the empty text.
struct AppRequest {
    std::string command; // "cmd"
    std::string name;
    std::string param;
    std::string value1;                 // of the camera's words, whose second value is values[1]
    std::array<std::string, 12> values; // "value", "value2" ... "value12"
};

// What a command word stands for.
struct AppCommand {
    std::string_view word; // "cmd"
    void (*handle)(const AppRequest& request);
};

// The text of object's member called name, "" when it is missing or not a string.
std::string text_member(const cJSON* object, const char* name);

// Nothing when text is not JSON.
std::optional<AppRequest> parse_app_request(const char* text, std::size_t length);

} // namespace fieldrelaybox
