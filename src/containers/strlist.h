// Lists of strings.
#pragma once

#include "zut.h"

void utStrListFree(ZutStrList *list);
