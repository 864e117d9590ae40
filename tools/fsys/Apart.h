#pragma once

// The tool in a process of its own, where it could otherwise be held for ever.
// Story      A thread that asks the program behind a mount cannot be ended while that is silent,
//            and keeps its process from ending. So where the tool may come to have one, a child
//            does the work; when it has let go of its output it tells its exit code, and nobody
//            waits for it any longer. Signals are passed on to it; a second one ends all at once.
//            The library reads its configuration file as it is initialised, and may be held there:
//            all of this is done before.
// Threads    the main thread, before any other is made.
// Errors     where there can be no child the work is done here.

// Whether it is a command that asks every drive, on a machine with a drive that can fall silent, or
// the configuration file lies on such a drive.
bool mayBeHeld(int count, const char* const* arguments);
// Returns in the child. The process that was asked waits for it, and ends as it says.
void goApart();
// The end of main: of a child it is told here, and the child ends.
int endOf(int code);
