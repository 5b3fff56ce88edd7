// Signals that a program takes up when it comes to them, instead of being interrupted.
#pragma once

#include <csignal>
#include <initializer_list>

namespace fieldrelaybox {

// From now on these signals wait in this thread, and in those that it starts. before: where to put
// the mask that was in force, for children; may be null. Returns them as a set, for sigtimedwait
// and signalfd.
inline sigset_t hold_back_signals(std::initializer_list<int> numbers, sigset_t* before = nullptr) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : numbers)
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, before);
    return signals;
}

} // namespace fieldrelaybox
