// The JSON commands of the apps, taken apart once for all that answer them.
#pragma once

#include <array>
#include <cstddef>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

struct cJSON;

namespace fieldrelaybox {

// A member that is missing reads as the empty text, a number as its own text.
struct AppRequest {
    std::string command; // "cmd"
    std::string name;
    std::string param;
    std::string value1;                 // of the camera's words, whose second value is values[1]
    std::array<std::string, 12> values; // "value", "value2" ... "value12"
    sockaddr_in sender;                 // the app; zeros for a sibling program
};

// What a command word stands for.
struct AppCommand {
    std::string_view word; // "cmd"
    void (*handle)(const AppRequest& request);
};

// The text of object's member called name, "" when it is missing. A number counts like its text.
// There is nothing for a member of any other type, and for a number too long to be kept.
std::optional<std::string> text_member(const cJSON* object, const char* name);

// Nothing when text is not JSON, or when a member of the request is neither text nor number, which
// is logged.
std::optional<AppRequest> parse_app_request(const char* text, std::size_t length,
                                            const sockaddr_in& sender);

} // namespace fieldrelaybox
