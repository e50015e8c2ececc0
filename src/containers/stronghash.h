// Keyed hashes against collision attacks, for tables whose order callers do not see.
#pragma once

#include "zut.h"

constexpr char utAsIs(char c) { return c; } // where case matters

uint32_t Z_CALL utStrongNumber(ZutWord key);
uint32_t Z_CALL utStrongText(ZutWord key);
// The same for texts that differ only in the case of ASCII letters.
uint32_t Z_CALL utStrongWord(ZutWord key);
