// The current time for code that must not wait for a lock.
#pragma once

#include "zut.h"

// What ZutGetCurrentTime returns, read without the process mutex: for the fatal path.
double utCurrentTimeUnlocked();
