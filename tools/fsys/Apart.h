#pragma once

// The tool in a process of its own, where it could otherwise be held for ever.
// Story      A thread that asks the program behind a mount cannot be ended while that is silent,
//            and keeps its process from ending. So where such programs, or servers, are mounted, a
//            child does the work; when it has let go of its output it tells its exit code, and
//            nobody waits for it any longer. Signals are passed on to it; a second one ends all at
//            once.
// Threads    the main thread, before any other is made.
// Errors     where there can be no child the work is done here.

// Whether it is a command that asks every drive, on a machine with a drive that can fall silent.
bool mayBeHeld(int count, const char* const* arguments);
// As runTool.
int runApart(int count, const char* const* arguments);
