// Ending the process, for the other modules.
#pragma once

// What a jump to the fatal-error point leads to: a message, then the exit with code 2.
void utEndAfterReport();
