"""Ctrl-C ends a program silently from here on: to be imported before all that takes its time.

The first line of a program has it held back until here, where Python would tell what it was doing.
Who has to clean up takes a program.Ending when there is something to clean up.
"""

import signal

if signal.getsignal(signal.SIGINT) is signal.default_int_handler:  # not when a shell had it ignored
    signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
