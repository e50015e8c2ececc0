// Text to time for the built-in converters, with their messages.
#pragma once

#include "zut.h"

int32_t Z_CALL utTimeCvtFullStrToNum(const char *text, double *time);
int32_t Z_CALL utTimeCvtHmsStrToNum(const char *text, double *time);
int32_t Z_CALL utTimeCvtNumericStrToNum(const char *text, double *time);
// "http", "smtp" and "asctime".
int32_t Z_CALL utTimeCvtDateStrToNum(const char *text, double *time);
