// Texts of times for the other modules.
#pragma once

#include "zut.h"

// What ZutTimeNumToStr gives, copied into `size` bytes, cut where it does not fit; the length.
// Formatting a time costs little enough that nothing needs to be remembered between calls.
int32_t utTimeText(double time, char *out, int32_t size);
