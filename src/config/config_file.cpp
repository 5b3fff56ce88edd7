#include "config/config_file.h"

#include "config/channel_functions.h"
#include "config/settings.h"
#include "core/log.h"
#include "core/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ini.h>
#include <memory>

namespace fieldrelaybox {

namespace {

struct Reading {
    std::FILE* file;
    ConfigRecord* record;
    int line_number;        // of the piece handed to the parser last
    int reported_line;      // logged last
    bool at_line_start;     // the next piece starts a line
    bool is_rest;           // the last piece went on with the line of the one before
    bool expects_key;       // the last piece should have reached the key handler as a known key
    std::string last_piece; // for the log
};

// Once a line, and without its value, which may be a mistyped password or the rest of a long one.
void report_unused_line(Reading& reading) {
    if (!reading.expects_key || reading.line_number == reading.reported_line)
        return;
    reading.reported_line = reading.line_number;
    const std::size_t key_length = reading.last_piece.find_first_of("=:");
    if (reading.is_rest)
        log_warning("configuration file line %d: a part beyond %zu characters is ignored",
                    reading.line_number, longest_config_line);
    else if (key_length == std::string::npos)
        log_warning("configuration file line %d ignored: no key and value", reading.line_number);
    else
        log_warning("configuration file line %d ignored: %.*s", reading.line_number,
                    static_cast<int>(key_length), reading.last_piece.c_str());
}

// Blank lines, comments and section names need no key.
bool is_key_line(std::string_view piece, bool first_line) {
    if (first_line && piece.starts_with("\xEF\xBB\xBF"))
        piece.remove_prefix(3);
    const std::size_t start = piece.find_first_not_of(" \t\r\n\v\f");
    if (start == std::string_view::npos)
        return false;
    const char first = piece[start];
    const bool section = first == '[' && piece.find(']') != std::string_view::npos;
    return first != ';' && first != '#' && !section;
}

// Hands the parser its next piece, as fgets does, and checks what became of the piece before.
char* next_piece(char* piece, int capacity, void* stream) {
    auto& reading = *static_cast<Reading*>(stream);
    report_unused_line(reading);
    reading.expects_key = false;
    if (std::fgets(piece, capacity, reading.file) == nullptr)
        return nullptr;
    reading.is_rest = !reading.at_line_start;
    if (reading.at_line_start)
        ++reading.line_number;
    reading.at_line_start = std::strchr(piece, '\n') != nullptr;
    reading.last_piece = piece;
    reading.expects_key = is_key_line(piece, reading.line_number == 1);
    return piece;
}

int take_key(void* user, const char* section, const char* key, const char* value) {
    auto& reading = *static_cast<Reading*>(user);
    const Setting* setting = section[0] == '\0' ? find_setting(key) : nullptr;
    if (setting == nullptr)
        return 0;
    read_setting(*setting, value, *reading.record);
    if (setting->key == "rc_input_map")
        parse_channel_map(text_of(reading.record->rc_input_map));
    reading.expects_key = false;
    return 1;
}

} // namespace

bool load_config_file(const char* path, ConfigRecord& record) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "re"), std::fclose);
    if (file == nullptr) {
        log_warning("cannot open %s: %s; starting without settings", path, std::strerror(errno));
        return false;
    }
    Reading reading{file.get(), &record, 0, 0, true, false, false, {}};
    ini_parse_stream(next_piece, &reading, take_key, &reading);
    return true;
}

std::string format_config_file(const ConfigRecord& record) {
    std::string text;
    for (const Setting& setting : settings()) {
        text += setting.comment;
        text += format_setting(setting, record);
        text += "\r\n\r\n";
    }
    return text;
}

} // namespace fieldrelaybox
