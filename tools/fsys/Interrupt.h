#pragma once

// Interrupt: the first Ctrl-C (or SIGTERM, SIGHUP) asks the command to end in order; a second one
// ends the process at once.
// Threads    requested, check, wait: any. install: before any thread is made. Done again, it begins
//            anew: nobody has asked for the end.
namespace Interrupt {

void install();
// The signal that asked for the end; 0 while nobody did.
int requested();
// Throws a ToolError once the end was asked for.
void check();
// Waits until `descriptor` can be read (false for its time-out) or the end was asked for (throws).
// A negative descriptor only waits; a negative time waits for ever.
bool wait(int descriptor, double timeout_ms);

}  // namespace Interrupt
