#include "stream/signals.h"

#include "core/signal_sets.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace stream {

int open_signals(sigset_t& caller_mask) {
    signal(SIGPIPE, SIG_IGN);
    const sigset_t followed =
        fieldrelaybox::hold_back_signals({SIGTERM, SIGINT, SIGHUP, SIGCHLD}, &caller_mask);
    return signalfd(-1, &followed, SFD_CLOEXEC | SFD_NONBLOCK);
}

bool take_signals(int descriptor) {
    bool ending = false;
    signalfd_siginfo information{};
    while (read(descriptor, &information, sizeof information) > 0)
        ending = ending || information.ssi_signo != SIGCHLD;
    return ending;
}

} // namespace stream
