#include "stream/pipeline.h"

#include <iterator>

namespace stream {

Words words_of(std::string_view text) {
    Words words;
    while (true) {
        const std::size_t begin = text.find_first_not_of(' ');
        if (begin == std::string_view::npos)
            return words;
        text.remove_prefix(begin);
        const std::size_t length = std::min(text.find(' '), text.size());
        words.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
}

std::string property(std::string_view name, std::string_view value) {
    std::string quoted = std::string(name) + "=\"";
    for (const char character : value) {
        if (character == '"' || character == '\\')
            quoted += '\\';
        quoted += character;
    }
    return quoted + '"';
}

Words joined(std::initializer_list<Words> parts) {
    Words all;
    for (const Words& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string shell_word(std::string_view word) {
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
        "_-+=:,./@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string_view::npos)
        return std::string(word);
    std::string quoted = "'";
    for (const char character : word)
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return quoted + '\'';
}

} // namespace stream
