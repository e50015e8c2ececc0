#include "base/errword.h"

std::atomic<int32_t> utErrWord{0};
