#pragma once

#include <string_view>

// Whether a file's name matches a pattern: '*' stands for any text, also for none, '?' for any one
// character, and everything else for itself, case counting. "*.*" is every name, also one without a
// dot.
// Threads    any; pure; no allocation.
// Units      the time is at most the product of both lengths, whatever the pattern.
bool matchesPattern(std::wstring_view name, std::wstring_view pattern);
