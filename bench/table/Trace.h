#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// Trace: what a traced process did between two marks that one of its threads made.
namespace Trace {

// Of whom calls are counted.
enum eThreads { eMarking, eAll };

// In the traced process: a call that nobody else makes, with an argument that nobody else has.
void mark();

// How many there were of each call.
using Calls = std::map<std::string, uint64_t>;

// Calls in a file that strace -f -o wrote. None when it holds no two marks.
std::optional<Calls> callsBetweenMarks(const std::string& trace, eThreads threads);

}  // namespace Trace
