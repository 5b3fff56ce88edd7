#include "apps/app_request.h"

#include "core/log.h"

#include <algorithm>
#include <cJSON.h>
#include <memory>
#include <string_view>
#include <utility>

namespace fieldrelaybox {

namespace {

using Json = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using JsonText = std::unique_ptr<char, void (*)(void*)>;

// Nothing for a number of more digits than are kept of it: its text is lost.
std::optional<std::string> number_text(const cJSON* number) {
    const JsonText text(cJSON_PrintUnformatted(number), cJSON_free);
    const bool whole =
        text != nullptr &&
        std::string_view(text.get()).find_first_not_of("0123456789.-") == std::string_view::npos;
    return whole ? std::optional<std::string>(text.get()) : std::nullopt;
}

// The parser's texts end at their first NUL.
std::string without_nuls(std::string_view json) {
    static constexpr std::string_view nul = "\\u0000";
    std::string kept;
    while (!json.empty()) {
        const bool is_nul = json.starts_with(nul);
        const std::size_t length = is_nul ? nul.size() : json[0] == '\\' ? 2 : 1;
        if (!is_nul)
            kept += json.substr(0, length);
        json.remove_prefix(std::min(length, json.size()));
    }
    return kept;
}

// Where each member goes; nothing in request is read before all are there.
bool take_members(const cJSON* object, AppRequest& request) {
    const auto take = [object](const std::string& name, std::string& place) {
        std::optional<std::string> text = text_member(object, name.c_str());
        if (!text) {
            log_warning("command refused: \"%s\" is neither a text nor a number", name.c_str());
            return false;
        }
        place = std::move(*text);
        return true;
    };
    bool taken = take("cmd", request.command) && take("name", request.name) &&
                 take("param", request.param) && take("value1", request.value1) &&
                 take("value", request.values[0]);
    for (std::size_t i = 1; taken && i < request.values.size(); ++i)
        taken = take("value" + std::to_string(i + 1), request.values[i]);
    return taken;
}

} // namespace

std::optional<std::string> text_member(const cJSON* object, const char* name) {
    const cJSON* member = cJSON_GetObjectItem(object, name);
    if (member == nullptr)
        return "";
    if (cJSON_IsNumber(member))
        return number_text(member);
    const char* text = cJSON_GetStringValue(member);
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::optional<AppRequest> parse_app_request(const char* text, std::size_t length,
                                            const sockaddr_in& sender) {
    const std::string json = without_nuls({text, length});
    const Json object(cJSON_ParseWithLength(json.c_str(), json.size()), cJSON_Delete);
    AppRequest request{};
    request.sender = sender;
    if (object == nullptr || !take_members(object.get(), request))
        return std::nullopt;
    return request;
}

} // namespace fieldrelaybox
