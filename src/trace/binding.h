// Objects that follow options: catalogs and trace objects.
//
// A binding is a change callback that may outlive its object (bindings are the caller's to remove).
// So its argument is a number that is never reused, by which the handler looks the object up: the
// address of a destroyed object may become that of another one.
#pragma once

#include "zut.h"

// The option of a name. When there is none, the output is set up, which may make it, and the
// look-up is repeated.
ZutOption *utFindOption(const char *name);

// Registers a live object. Returns its number, never 0.
ZutWord utLiveAdd(void *object);
void utLiveRemove(ZutWord number);

// For a handler: returns the object, with the process mutex held; null, without the mutex, when the
// object was destroyed. A pair of calls and no guard, because the handler may print.
void *utLiveEnter(ZutWord number);
void utLiveLeave();

// Registers the handler unless it is registered, and runs it once with the present value.
// Returns 1.
int32_t utBind(ZutOption *option, ZutCbFunc handler, ZutWord number);
// Removes the handler from the option of that name. Returns 1, also when there is nothing to
// remove.
int32_t utUnbind(const char *option_name, ZutCbFunc handler, ZutWord number);
