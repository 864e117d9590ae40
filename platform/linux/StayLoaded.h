#pragma once

// From now on the library is never taken out of memory, whoever unloads it: one of its threads may
// come back from the system at any time, and go on in its code. Cheap after the first time.
// Threads    any that does not hold up an unloading: the loader is waited for.
// Kept       within an unloading it comes too late, and has no effect.
void stayLoaded();
