// Shared by the sources of this folder: what the process does about signals.
#pragma once

#include <csignal>

// Has a signal that would end the process do nothing, so that the call which raised it fails;
// unless the program has set an action of its own for it. It is caught, not ignored, because
// child processes inherit what is ignored.
void utPosixCatch(int signal);

// While at least one command runs, the process ignores SIGINT and SIGQUIT, which are meant for the
// command. What the library sets for SIGINT during that time takes effect at the end.
void utPosixCommandBegins();
void utPosixCommandEnds();
// The signals that a command must not inherit as ignored, because the library or
// utPosixCommandBegins ignores them and not whoever started the process.
sigset_t utPosixCommandSignals();
