// Run-time checks of the library's own invariants. Active where ZUT_CHECKS is defined (the builds
// with sanitizers and debug builds); elsewhere the condition is compiled and not evaluated. Never
// for what a caller, a file or a peer can get wrong: that is an error number.
#pragma once

#ifdef ZUT_CHECKS
// Names the broken invariant on standard error and aborts.
[[noreturn]] void utCheckFailed(const char *condition, const char *file, int line);
#  define utCheck(condition)                                                                       \
    (static_cast<bool>(condition) ? static_cast<void>(0)                                           \
                                  : utCheckFailed(#condition, __FILE__, __LINE__))
#else
#  define utCheck(condition) static_cast<void>(sizeof(static_cast<bool>(condition)))
#endif
