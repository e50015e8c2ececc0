// The options that every program has from the start.
#pragma once

// Creates them, in the table's order, with their defaults, checks and callbacks. Called once, under
// the process mutex, when the option table has been published.
void utStdOptionsCreate();
