#include "panel/password_texts.h"

#include <algorithm>
#include <cJSON.h>
#include <cctype>
#include <cstddef>
#include <memory>

namespace panel {
namespace {

using ParsedText = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

int value_of_base64(char letter) {
    constexpr std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t place = letters.find(letter);
    return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

// Up to the first letter that is none of base64.
std::string decode_base64(std::string_view text) {
    std::string decoded;
    unsigned bits = 0;
    int count = 0;
    for (const char letter : text) {
        const int value = value_of_base64(letter);
        if (value < 0)
            break;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
        count += 6;
        if (count >= 8) {
            count -= 8;
            decoded += static_cast<char>(bits >> count & 0xFF);
        }
    }
    return decoded;
}

} // namespace

std::optional<std::string> password_in(std::string_view json) {
    const ParsedText parsed(cJSON_ParseWithLength(json.data(), json.size()), cJSON_Delete);
    const cJSON* const text = cJSON_GetObjectItemCaseSensitive(parsed.get(), "password");
    return cJSON_IsString(text) ? std::optional<std::string>(text->valuestring) : std::nullopt;
}

std::optional<std::string> password_of(std::string_view authorization) {
    constexpr std::string_view scheme = "basic ";
    const auto lower = [](unsigned char letter) { return std::tolower(letter); };
    if (authorization.size() <= scheme.size() ||
        !std::ranges::equal(authorization.substr(0, scheme.size()), scheme, {}, lower))
        return std::nullopt;
    const std::string pair = decode_base64(authorization.substr(scheme.size()));
    const std::size_t colon = pair.find(':');
    return colon == std::string::npos ? std::nullopt : std::optional(pair.substr(colon + 1));
}

} // namespace panel
