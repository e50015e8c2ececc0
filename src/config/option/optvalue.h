// Option values as text, for the other modules of the room.
#pragma once

#include "zut.h"

// Reads `text`, which is no command line, as the value of the option; what follows the value is
// reported and ignored. False: it is not a value, and the option keeps the one that it has.
bool utOptionParseText(ZutOption &option, const char *text);
// The text of ZutOptionValToStr for the option of that name; null when it does not exist.
const char *utOptionValueText(const char *name);

// Dumps, for the table of all options and for named tables. Under the process mutex. A line with
// name and value; with a table's name before the name unless it is null.
void utOptionDumpOne(const ZutOption &option, const char *tableName, ZutPrintFunc out);
// The same for every option of `table` by name, without the protected ones and those whose name
// begins with "_".
void utOptionDumpAll(ZutHashTable *table, const char *tableName, ZutPrintFunc out);
