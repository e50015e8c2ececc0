// Thread-specific data: what a thread's end needs of it.
#pragma once

// Calls the destructors of all keys with the calling thread's values.
void utTsdRunDestructors();
