#include "core/exit_status.h"
#include "daemon/arguments.h"
#include "daemon/startup.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <span>
#include <unistd.h>

namespace {

// Whatever is opened in the place of a missing one would be written to like a log.
bool have_standard_descriptors() {
    constexpr std::array descriptors{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    return std::ranges::all_of(descriptors, [](int descriptor) {
        return fcntl(descriptor, F_GETFD) >= 0 || open("/dev/null", O_RDWR) == descriptor;
    });
}

} // namespace

int main(int count, char** arguments) {
    if (!have_standard_descriptors())
        return fieldrelaybox::exit_unable; // there is nowhere to say so
    const std::span<const char* const> given(arguments, static_cast<std::size_t>(count));
    // A program can be started without so much as its name.
    const std::optional<int> answered =
        fieldrelaybox::answer_arguments(given.subspan(given.empty() ? 0 : 1));
    return answered ? *answered : fieldrelaybox::run_daemon();
}
