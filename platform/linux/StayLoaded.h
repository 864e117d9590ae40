#pragma once

// From now on the library is never taken out of memory, whoever unloads it: a thread of its may
// come back from the system at any time, and go on in its code. Cheap after the first time.
// Threads    any that does not hold up an unloading: the loader is waited for.
void stayLoaded();
