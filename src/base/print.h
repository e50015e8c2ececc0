// Port: printing, for every floor. Answered by core/utout.
#pragma once

#include "zut.h"

using ::ZutDebug;
using ::ZutOut;
using ::ZutOutDebug;
using ::ZutOutInit;
using ::ZutVerbose;
using ::ZutVOut;
using ::ZutWarning;
