// Help texts from the data files.
#pragma once

enum class HelpForm { oneLine, full };

// Prints the entry of a name: from the topic's file of this process type, else from its common
// file. False when neither has one; that is reported.
bool utHelpPrint(const char *topic, const char *name, HelpForm form);
