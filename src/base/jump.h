// The fatal-error jump point.
#pragma once

#include <csetjmp>

// The frame that ZutInit arms is gone when it returns, so nothing may really jump there. `armed`
// tells whether the program has armed `buffer` again, in a frame of its own, since then.
struct JumpPoint {
  jmp_buf buffer;
  jmp_buf armed; // as ZutInit left it
};
inline JumpPoint utJumpPoint;
