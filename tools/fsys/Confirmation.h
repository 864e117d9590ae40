#pragma once

#include <string>

// Confirmation: asks whoever sits at the terminal.
// Threads    the main thread.
namespace Confirmation {

// Whether standard input is a terminal.
bool canAsk();
// Puts the question on standard error and waits for a line, or for an interruption (throws). What
// was typed before the question is forgotten. True for "y" and "yes" in any case; false for
// anything else, the end of the input among it.
bool isGiven(const std::string& question);

}  // namespace Confirmation
