// What a lock does most often, without a call of ours.
#pragma once

#include <cstdint>

extern "C" __declspec(dllimport) unsigned long __stdcall GetCurrentThreadId();

// A number that no other living thread has; never 0. The system may give an ended thread's to a new
// one.
inline uintptr_t utPlatThreadToken() { return GetCurrentThreadId(); }
inline uintptr_t utPlatHolderToken() { return GetCurrentThreadId(); }

// Tells the processor that this is a busy wait.
inline void utPlatPause() { __builtin_ia32_pause(); }
