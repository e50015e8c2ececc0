// Port: the fatal report, for every floor. Answered by core/utout.
#pragma once

#include "zut.h"

using ::ZutFatalError;
