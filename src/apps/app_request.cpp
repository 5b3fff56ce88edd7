#include "apps/app_request.h"

#include <cJSON.h>
#include <memory>

namespace fieldrelaybox {

std::string text_member(const cJSON* object, const char* name) {
    const char* text = cJSON_GetStringValue(cJSON_GetObjectItem(object, name));
    return text == nullptr ? std::string() : std::string(text);
}

std::optional<AppRequest> parse_app_request(const char* text, std::size_t length) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> object(cJSON_ParseWithLength(text, length),
                                                          cJSON_Delete);
    if (object == nullptr)
        return std::nullopt;
    AppRequest request{text_member(object.get(), "cmd"),
                       text_member(object.get(), "name"),
                       text_member(object.get(), "param"),
                       text_member(object.get(), "value1"),
                       {text_member(object.get(), "value")}};
    for (std::size_t i = 1; i < request.values.size(); ++i)
        request.values[i] = text_member(object.get(), ("value" + std::to_string(i + 1)).c_str());
    return request;
}

} // namespace fieldrelaybox
