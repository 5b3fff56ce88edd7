#include "panel/requests.h"

#include "core/numbers.h"

#include <algorithm>
#include <array>
#include <cJSON.h>
#include <memory>
#include <span>
#include <strings.h>

namespace panel {
namespace {

using RequestJson = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using PrintedJson = std::unique_ptr<char, void (*)(void*)>;

constexpr std::size_t longest_box_name = 64;
constexpr int largest_number = 1000;
constexpr int most_members = 20; // more than any command has

const cJSON* member(const cJSON* object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

std::string_view text_of_member(const cJSON* object, const char* name) {
    const char* text = cJSON_GetStringValue(member(object, name));
    return text == nullptr ? std::string_view() : text;
}

std::string printed(const cJSON* json) {
    const PrintedJson text(cJSON_PrintUnformatted(json), cJSON_free);
    return text == nullptr ? std::string() : text.get();
}

// The box takes members in any letter case. Too many count as doubled, so that this takes no time.
bool has_doubled_member(const cJSON* object) {
    if (cJSON_GetArraySize(object) > most_members)
        return true;
    for (const cJSON* one = object->child; one != nullptr; one = one->next)
        for (const cJSON* other = one->next; other != nullptr; other = other->next)
            if (strcasecmp(one->string, other->string) == 0)
                return true;
    return false;
}

// Whether each member is one of names, and there at most once.
bool has_only(const cJSON* object, std::span<const char* const> names) {
    const auto is_known = [&names](const cJSON* item) {
        return std::ranges::any_of(
            names, [item](std::string_view name) { return !name.empty() && name == item->string; });
    };
    for (const cJSON* item = object->child; item != nullptr; item = item->next)
        if (!is_known(item))
            return false;
    return !has_doubled_member(object);
}

std::optional<Held> held_named(std::string_view name) {
    if (name == "gimbal")
        return Held::gimbal;
    return name == "zoom" ? std::optional(Held::zoom) : std::nullopt;
}

std::optional<Request> parse_watch(const cJSON* object) {
    const cJSON* pictures = member(object, "watch");
    const cJSON* sound = member(object, "sound");
    if (!cJSON_IsBool(pictures) || (sound != nullptr && !cJSON_IsBool(sound)))
        return std::nullopt;
    return Watch{.pictures = cJSON_IsTrue(pictures) != 0, .sound = cJSON_IsTrue(sound) != 0};
}

// Texts as they are, and numbers of up to 15 digits as their text. False for anything else.
bool add_as_text(cJSON* command, const cJSON* item) {
    std::string text;
    if (cJSON_IsString(item))
        text = item->valuestring;
    else if (cJSON_IsNumber(item))
        text = printed(item);
    if (!cJSON_IsString(item) &&
        (text.empty() || text.find_first_not_of("0123456789.-") != std::string::npos))
        return false;
    return cJSON_AddStringToObject(command, item->string, text.c_str()) != nullptr;
}

std::optional<Request> parse_command(const cJSON* object) {
    const cJSON* members = member(object, "command");
    const RequestJson command(cJSON_CreateObject(), cJSON_Delete);
    if (!cJSON_IsObject(members) || command == nullptr || has_doubled_member(members))
        return std::nullopt;
    for (const cJSON* item = members->child; item != nullptr; item = item->next)
        if (!add_as_text(command.get(), item))
            return std::nullopt;
    const std::string_view word = text_of_member(members, "cmd");
    if (word.empty())
        return std::nullopt;
    const char* const param = cJSON_GetStringValue(cJSON_GetObjectItem(command.get(), "param"));
    return Command{.json = printed(command.get()),
                   .word = std::string(word),
                   .param = param == nullptr ? "" : param};
}

// A missing number is 0. False for what is no number.
bool take_number(const cJSON* object, const char* name, int& number) {
    const cJSON* item = member(object, name);
    if (item == nullptr)
        return true;
    if (!cJSON_IsNumber(item))
        return false;
    number = fieldrelaybox::limit_to_integer(item->valuedouble, -largest_number, largest_number);
    return true;
}

std::optional<Request> parse_hold(const cJSON* object) {
    const std::optional<Held> what = held_named(text_of_member(object, "hold"));
    Motion motion;
    if (!what || !take_number(object, "a", motion.a) || !take_number(object, "b", motion.b))
        return std::nullopt;
    return HoldRequest{.what = *what, .motion = motion};
}

std::optional<Request> parse_release(const cJSON* object) {
    const std::optional<Held> what = held_named(text_of_member(object, "release"));
    return what ? std::optional<Request>(ReleaseRequest{*what}) : std::nullopt;
}

std::optional<Request> parse_choose(const cJSON* object) {
    const std::string_view box = text_of_member(object, "box");
    if (box.empty() || box.size() > longest_box_name)
        return std::nullopt;
    return Choose{std::string(box)};
}

struct RequestKind {
    std::array<const char*, 3> members; // the first tells the kind
    std::optional<Request> (*parse)(const cJSON* object);
};

constexpr std::array request_kinds{
    RequestKind{{"watch", "sound", ""}, parse_watch},
    RequestKind{{"command", "", ""}, parse_command},
    RequestKind{{"hold", "a", "b"}, parse_hold},
    RequestKind{{"release", "", ""}, parse_release},
    RequestKind{{"box", "", ""}, parse_choose},
};

// A NUL would end a text too early, which then meant something else.
bool has_nul(std::string_view text) {
    return text.find('\0') != std::string_view::npos ||
           text.find("\\u0000") != std::string_view::npos;
}

} // namespace

std::optional<Request> parse_request(std::string_view text) {
    if (text.size() > longest_request || has_nul(text))
        return std::nullopt;
    const std::string ended(text); // by a NUL, behind which the parser does not look
    const RequestJson object(cJSON_ParseWithLengthOpts(ended.c_str(), ended.size() + 1, nullptr, 1),
                             cJSON_Delete);
    if (!cJSON_IsObject(object.get()))
        return std::nullopt;
    for (const RequestKind& kind : request_kinds)
        if (member(object.get(), kind.members[0]) != nullptr)
            return has_only(object.get(), kind.members) ? kind.parse(object.get()) : std::nullopt;
    return std::nullopt;
}

} // namespace panel
