// Objects that follow options: catalogs and trace objects.
//
// A binding is a change callback that may outlive its object (bindings are the caller's to remove).
// So its argument is a number of the object's own, by which a handler first looks the object up: an
// address would come again, as that of another object.
#pragma once

#include "zut.h"

// The option of a name. One that is not found may be one that the set-up of the output makes, so
// that is done first.
ZutOption *utFindOption(const char *name);

// Enters an object among the live ones; gives its number, never 0.
ZutWord utLiveAdd(void *object);
void utLiveRemove(ZutWord number);

// For a handler: the object, with the process mutex taken; null, without it, when the object is
// gone. A plain pair of calls, not a guard: what the handler does may print.
void *utLiveEnter(ZutWord number);
void utLiveLeave();

// Registers the handler unless it is registered, and runs it once with the present value. Gives 1.
int32_t utBind(ZutOption *option, ZutCbFunc handler, ZutWord number);
// Removes the handler from the option of that name. Gives 1, also when there is nothing to remove.
int32_t utUnbind(const char *option_name, ZutCbFunc handler, ZutWord number);
