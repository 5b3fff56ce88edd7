#include "settings_list/settings_json.h"

#include "config/setting_updates.h"
#include "config/settings_table.h"

#include <cJSON.h>
#include <memory>

namespace settings_list {

namespace {

using namespace fieldrelaybox;

// In the order of SettingKind, Topic and Conversion.
constexpr std::array kind_names{"switch", "number", "byte", "text", "quoted text"};
constexpr std::array topic_names{"streams", "sound", "rc", "networks", "displays", "server"};
constexpr std::array conversion_names{"",     "nonzero",          "interface code",
                                      "band", "resolution width", "resolution height"};

template<class Name, std::size_t Count>
const char* name_of(const std::array<const char*, Count>& names, Name name) {
    return names.at(static_cast<std::size_t>(name));
}

void add_text(cJSON* object, const char* name, std::string_view text) {
    if (!text.empty())
        cJSON_AddStringToObject(object, name, std::string(text).c_str());
}

void add_number(cJSON* object, const char* name, std::int64_t number) {
    cJSON_AddNumberToObject(object, name, static_cast<double>(number));
}

// "1 inverse|0 normal" as a list of values with their meanings.
void add_choices(cJSON* object, std::string_view choices) {
    if (choices.empty())
        return;
    cJSON* list = cJSON_AddArrayToObject(object, "choices");
    while (!choices.empty()) {
        const std::string_view choice = choices.substr(0, choices.find('|'));
        choices.remove_prefix(std::min(choices.size(), choice.size() + 1));
        const std::size_t blank = std::min(choice.find(' '), choice.size());
        cJSON* entry = cJSON_CreateObject();
        add_text(entry, "value", choice.substr(0, blank));
        add_text(entry, "meaning", choice.substr(std::min(blank + 1, choice.size())));
        cJSON_AddItemToArray(list, entry);
    }
}

void add_default(cJSON* object, const SettingDefault& initial) {
    if (initial.words.empty())
        add_text(object, "default", initial.value);
    add_text(object, "default_words", initial.words);
    if (initial.time == DefaultTime::after_loading)
        cJSON_AddTrueToObject(object, "default_for_empty");
}

void add_parameter_words(cJSON* parameter, const Setting& setting) {
    if (setting.conversion != Conversion::resolution_width &&
        setting.conversion != Conversion::resolution_height)
        return;
    cJSON* words = cJSON_AddArrayToObject(parameter, "words");
    for (const TranscodedResolution& resolution : transcoded_resolutions)
        cJSON_AddItemToArray(words, cJSON_CreateString(std::string(resolution.name).c_str()));
}

void add_parameters(cJSON* object, const Setting& setting) {
    cJSON* list = cJSON_AddArrayToObject(object, "parameters");
    for (const ParameterValue& parameter : setting.parameters) {
        if (parameter.name.empty())
            continue;
        cJSON* entry = cJSON_CreateObject();
        add_text(entry, "name", parameter.name);
        add_number(entry, "value", parameter.value);
        add_text(entry, "word", parameter.word);
        add_parameter_words(entry, setting);
        cJSON_AddItemToArray(list, entry);
    }
}

void add_people_words(cJSON* object, const Setting& setting) {
    add_text(object, "label", setting.label);
    add_text(object, "help", setting.help);
    add_text(object, "unit", setting.unit);
    add_choices(object, setting.choices);
    if (setting.limits.highest != 0) {
        add_number(object, "lowest", setting.limits.lowest);
        add_number(object, "highest", setting.limits.highest);
    }
}

void add_mirror(cJSON* object, const Setting& setting) {
    if (setting.mirror == nullptr)
        return;
    const StatusBlock block{};
    const auto* start = reinterpret_cast<const std::uint8_t*>(&block);
    add_number(object, "mirror", &(block.*setting.mirror) - start);
}

std::string row_of(const Setting& setting) {
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> row(cJSON_CreateObject(), cJSON_Delete);
    add_text(row.get(), "key", setting.key);
    add_text(row.get(), "topic", name_of(topic_names, setting.topic));
    add_text(row.get(), "kind", name_of(kind_names, setting.kind));
    add_number(row.get(), "offset", setting.field.offset);
    add_number(row.get(), "capacity", setting.field.capacity);
    add_people_words(row.get(), setting);
    add_default(row.get(), setting.initial);
    add_text(row.get(), "sample", setting.sample);
    if (setting.report.place > 0)
        add_text(row.get(), "report", setting.report.member);
    add_parameters(row.get(), setting);
    add_text(row.get(), "conversion", name_of(conversion_names, setting.conversion));
    add_mirror(row.get(), setting);
    add_text(row.get(), "comment", setting.comment);
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(row.get()),
                                                            cJSON_free);
    return text.get();
}

std::string list_of(std::span<const Setting> rows) {
    std::string text;
    for (const Setting& setting : rows)
        text += (text.empty() ? "\n" : ",\n") + row_of(setting);
    return '[' + text + "\n]";
}

} // namespace

std::string settings_as_json() {
    return "{\"settings\":" + list_of(settings_table) +
           ",\n\"unsaved\":" + list_of(unsaved_settings) + "}\n";
}

} // namespace settings_list
