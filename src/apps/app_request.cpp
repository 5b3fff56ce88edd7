#include "apps/app_request.h"

#include "core/log.h"

#include <cJSON.h>
#include <memory>
#include <utility>

namespace fieldrelaybox {

namespace {

using Json = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using JsonText = std::unique_ptr<char, void (*)(void*)>;

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
    const JsonText number(cJSON_IsNumber(member) ? cJSON_PrintUnformatted(member) : nullptr,
                          cJSON_free);
    const char* text = number ? number.get() : cJSON_GetStringValue(member);
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::optional<AppRequest> parse_app_request(const char* text, std::size_t length,
                                            const sockaddr_in& sender) {
    const Json object(cJSON_ParseWithLength(text, length), cJSON_Delete);
    AppRequest request{};
    request.sender = sender;
    if (object == nullptr || !take_members(object.get(), request))
        return std::nullopt;
    return request;
}

} // namespace fieldrelaybox
