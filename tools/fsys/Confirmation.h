#pragma once

#include <string>

// Confirmation: asks whoever sits at the terminal.
// Threads    the main thread.
namespace Confirmation {

// Whether standard input is a terminal, and standard error too, where the question stands.
bool canAsk();
// A line that was said on standard output and has to be seen by whoever is asked: where that is no
// terminal, on standard error as well.
void show(const std::string& line);
// Puts the question on standard error and waits for a line, or for an interruption (throws). What
// was typed before the question is forgotten. True for "y" and "yes" in any case; false for
// anything else, the end of the input among it.
bool isGiven(const std::string& question);

}  // namespace Confirmation
