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
#include <span>

namespace fieldrelaybox {

namespace {

struct Reading {
    std::FILE* file;
    ConfigRecord* record;
    const Tell* tell;
    int line_number = 0;       // of the piece handed to the parser last
    int reported_line = 0;     // told last as unused
    bool at_line_start = true; // the next piece starts a line
    bool behind_nul = false;   // in the line of the last piece
    bool is_rest = false;      // the last piece went on with the line of the one before
    bool expects_key = false;  // the last piece should have reached the key handler as a known key
    std::string last_piece{};
    int error = 0; // that ended the reading
};

void tell_of_line(const Reading& reading, const std::string& words) {
    (*reading.tell)("configuration file line " + std::to_string(reading.line_number) + words);
}

// Once a line, and without its value, which may be a mistyped password or the rest of a long one.
void report_unused_line(Reading& reading) {
    if (!reading.expects_key || reading.line_number == reading.reported_line)
        return;
    reading.reported_line = reading.line_number;
    const std::size_t key_length = reading.last_piece.find_first_of("=:");
    if (reading.is_rest)
        tell_of_line(reading, ": a part beyond " + std::to_string(longest_config_line) +
                                  " characters is ignored");
    else if (key_length == std::string::npos)
        tell_of_line(reading, " ignored: no key and value");
    else
        tell_of_line(reading, " ignored: " + reading.last_piece.substr(0, key_length));
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

// One character of the file, or EOF. A NUL byte, as a card leaves them that lost its power, hides
// what follows it in its line, but not the end of the line.
int next_character(Reading& reading) {
    int character = std::getc(reading.file);
    if (character == '\0' && !reading.behind_nul) {
        reading.behind_nul = true;
        tell_of_line(reading, ": ignored from a NUL byte on");
    }
    while (reading.behind_nul && character != '\n' && character != EOF)
        character = std::getc(reading.file);
    if (character == EOF && std::ferror(reading.file) != 0)
        reading.error = errno;
    return character;
}

// As fgets does: up to the end of the line, or as much of it as fits. False at the end of the file.
bool read_piece(Reading& reading, std::span<char> piece) {
    std::size_t length = 0;
    int character = 0;
    while (length + 1 < piece.size() && character != '\n' &&
           (character = next_character(reading)) != EOF)
        piece[length++] = static_cast<char>(character);
    piece[length] = '\0';
    return length > 0;
}

bool is_at_end(std::FILE* file) {
    const int character = std::getc(file);
    std::ungetc(character, file);
    return character == EOF;
}

void begin_piece(Reading& reading) {
    reading.is_rest = !reading.at_line_start;
    if (reading.is_rest || is_at_end(reading.file))
        return;
    ++reading.line_number;
    reading.behind_nul = false;
}

// Hands the parser its next piece, as fgets does, and checks what became of the piece before.
char* next_piece(char* piece, int capacity, void* stream) {
    auto& reading = *static_cast<Reading*>(stream);
    report_unused_line(reading);
    reading.expects_key = false;
    begin_piece(reading);
    if (!read_piece(reading, {piece, static_cast<std::size_t>(capacity)}))
        return nullptr;
    reading.last_piece = piece;
    reading.at_line_start = reading.last_piece.ends_with('\n');
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
    tell_value_faults(*setting, value, [&](const std::string& fault) {
        tell_of_line(reading, ": " + std::string(setting->key) + ": " + fault);
    });
    return 1;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void parse(Reading& reading) {
    ini_parse_stream(next_piece, &reading, take_key, &reading);
}

std::string reason(int error) {
    return std::string(": ") + std::strerror(error);
}

} // namespace

bool load_config_file(const std::string& path, ConfigRecord& record, const Tell& tell) {
    const File file(std::fopen(path.c_str(), "re"), std::fclose);
    if (file == nullptr) {
        tell("cannot open " + path + reason(errno) + "; starting without settings");
        return false;
    }
    Reading reading{.file = file.get(), .record = &record, .tell = &tell};
    parse(reading);
    const bool any = reading.line_number > 0;
    if (reading.error != 0)
        tell("cannot read " + path + reason(reading.error) +
             (any ? "; starting with what could be read" : "; starting without settings"));
    else if (!any)
        tell(path + " is empty; starting with the defaults");
    return any || reading.error == 0;
}

bool load_config_file(const std::string& path, ConfigRecord& record) {
    return load_config_file(path, record,
                            [](const std::string& line) { log_warning("%s", line.c_str()); });
}

void load_config_text(const std::string& text, ConfigRecord& record) {
    std::string bytes = text; // the stream wants them writable
    const File file(fmemopen(bytes.data(), bytes.size(), "r"), std::fclose);
    const Tell tell_nobody = [](const std::string&) {};
    Reading reading{.file = file.get(), .record = &record, .tell = &tell_nobody};
    if (file != nullptr)
        parse(reading);
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
