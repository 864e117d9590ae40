#pragma once

// Interrupt: the first Ctrl-C (or SIGTERM) asks the program to end in order; a second one ends it.
// Threads    install: before any other is made. isRequested: any.
namespace Interrupt {

void install();
bool isRequested();

}  // namespace Interrupt
