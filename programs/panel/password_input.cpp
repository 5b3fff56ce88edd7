#include "panel/password_input.h"

#include "core/log.h"

#include <cstdio>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace panel {
namespace {

std::optional<std::string> read_line() {
    std::string line;
    if (!std::getline(std::cin, line))
        return std::nullopt;
    if (line.ends_with('\r'))
        line.pop_back();
    return line;
}

std::optional<std::string> ask(const char* question) {
    std::fputs(question, stderr);
    std::optional<std::string> line = read_line();
    std::fputs("\n", stderr);
    return line;
}

std::optional<std::string> ask_twice() {
    termios before{};
    tcgetattr(STDIN_FILENO, &before);
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::optional<std::string> first = ask("New password: ");
    const std::optional<std::string> second = ask("Again: ");
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    if (first == second)
        return first;
    fieldrelaybox::log_error("the two differ; the password stays as it was");
    return std::nullopt;
}

} // namespace

std::optional<std::string> read_new_password() {
    std::optional<std::string> password = isatty(STDIN_FILENO) != 0 ? ask_twice() : read_line();
    if (!password)
        fieldrelaybox::log_error("no password was given");
    return password;
}

} // namespace panel
