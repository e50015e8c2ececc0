// Ending the process, for the other modules.
#pragma once

// The ending that a jump to the fatal-error point stands for: a message, then exit code 2.
void utEndAfterReport();
