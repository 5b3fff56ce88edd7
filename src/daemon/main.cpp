#include "daemon/arguments.h"
#include "daemon/startup.h"

#include <span>

int main(int count, char** arguments) {
    const std::span<const char* const> given(arguments, static_cast<std::size_t>(count));
    // A program can be started without so much as its name.
    const std::optional<int> answered =
        fieldrelaybox::answer_arguments(given.subspan(given.empty() ? 0 : 1));
    return answered ? *answered : fieldrelaybox::run_daemon();
}
