// Who uses a callback's record, and waiting until no other thread is inside the callback.
//
// The record's count holds one user for its life, one for each noted hold of a thread that is
// inside (listlock.h), and the list's while its removed records stay. It is freed with the last.
#pragma once

#include "callback/callback.h"

inline constexpr int32_t Z_CB_USER = 1;
inline constexpr int32_t Z_CB_KEPT = 1 << 24; // by a list, among its removed ones

// Ends one use. The last one frees the record and, unless the change function was called for the
// end before, calls it now.
void utCbRelease(ZutCb &cb, int32_t use);

// Calls the change function for the end.
void utCbNoticeDestroyed(ZutCb &cb);

// Is another thread inside? Asked for a callback that stands in no list, or under its list's write
// lock: no thread can enter it then.
bool utCbOthersInside(const ThreadBlock &self, const ZutCb &cb);

// Waits, parked, until no other thread is inside. False, at once, where that would wait in a ring:
// a thread inside waits itself for this one to leave another callback, or may wait for a list that
// this one writes.
bool utCbAwaitOthers(ThreadBlock &self, ZutCb &cb);
