// Objects that follow options: catalogs and trace objects.
//
// A binding is a change callback whose argument is the object. It may outlive the object (bindings
// are the caller's to remove), so a handler first asks whether its object still lives.
#pragma once

#include "zut.h"

// The live objects, under the process mutex.
void utLiveAdd(const void *object);
void utLiveRemove(const void *object);

// For a handler: takes the process mutex and gives true, or gives false without it when the object
// is gone. A plain pair of calls, not a guard: what the handler does may print.
bool utLiveEnter(ZutWord object);
void utLiveLeave();

// Registers the handler unless it is registered, and runs it once with the present value. Gives 1.
int32_t utBind(ZutOption *option, ZutCbFunc handler, const void *object);
// Removes the handler from the option of that name. Gives 1, also when there is nothing to remove.
int32_t utUnbind(const char *option_name, ZutCbFunc handler, const void *object);
