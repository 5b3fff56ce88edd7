// What the handlers of the camera's command words share: numbers in texts, words of two states, and
// rows of a second word. The files of this folder alone enter here.
#pragma once

#include "apps/app_request.h"
#include "core/text.h"
#include "core/word_table.h"

#include <array>
#include <cstdlib>
#include <string>

namespace fieldrelaybox {

inline int integer(const std::string& text) {
    return parse_decimal(text.c_str());
}

inline double real(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

// Runs the handler of the row that word names; a word that names none does nothing.
template<std::size_t Count>
void run_row(const std::array<AppCommand, Count>& table, const std::string& word,
             const AppRequest& request) {
    if (const AppCommand* row = find_word(table, word))
        row->handle(request);
}

struct SwitchWord {
    std::string_view word;
    bool on;
};
using SwitchWords = std::array<SwitchWord, 2>;

inline constexpr SwitchWords mode_words{{{"video", true}, {"photo", false}}};
inline constexpr SwitchWords lock_words{{{"lock", true}, {"unlock", false}}};
inline constexpr SwitchWords record_words{{{"start", true}, {"stop", false}}};
inline constexpr SwitchWords number_words{{{"1", true}, {"0", false}}};

// Calls command with what word stands for; another word does nothing.
template<class Command>
void run_switch(const SwitchWords& words, const std::string& word, Command command) {
    if (const SwitchWord* found = find_word(words, word))
        command(found->on);
}

} // namespace fieldrelaybox
