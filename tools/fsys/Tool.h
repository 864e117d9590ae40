#pragma once

// The tool, from its arguments to its exit code.
// Threads    the main thread. A process may run it again.
// Errors     every failure is said, and has its exit code.
int runTool(int count, const char* const* arguments);
