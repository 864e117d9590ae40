#pragma once

#include <cstdint>
#include <string>

#include "platform/LightweightString.h"

// Files of pattern bytes of a seed, made by the bare system, and read back through the engine.

// False when the disk does not take it.
bool makePatternFile(const std::string& path, uint64_t bytes, uint64_t seed);
// Reads all of it in pieces of no picture's size, several on their way. Empty when every byte is
// right.
std::string whyNotReadBack(const LightweightString<wchar_t>& path, uint64_t bytes, uint64_t seed);
