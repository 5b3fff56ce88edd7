#include "stream/signals.h"

#include <initializer_list>
#include <sys/signalfd.h>
#include <unistd.h>

namespace stream {

int open_signals(sigset_t& caller_mask) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t followed;
    sigemptyset(&followed);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD})
        sigaddset(&followed, number);
    sigprocmask(SIG_BLOCK, &followed, &caller_mask);
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
