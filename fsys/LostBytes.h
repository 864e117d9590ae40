#pragma once

#include <cstdint>

#include "platform/LightweightString.h"

// What is said of bytes that were accepted and not written. Each goes through without memory for
// the name.
// Threads    any.
void reportLost(uint32_t bytes, const LightweightString<wchar_t>& name);
// Of a file that somebody was still at work with as the process ended.
void reportLeft(const LightweightString<wchar_t>& name);
