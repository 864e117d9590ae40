#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/LightweightString.h"

// Texts for people: numbers with units, and names that may be any bytes.

// printf into a string.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A name between quotes. Control characters, those that end a line or turn its direction, and bytes
// that are no UTF-8 stand as \xNN, so that a name can neither fool a terminal nor get lost.
std::string inQuotes(const std::string& name);
// The same without the quotes, for tables.
std::string escaped(const std::string& name);
bool isUtf8(const std::string& bytes);
// UTF-8 without control characters: what a person may call something.
bool isPlainText(const std::string& bytes);
// The length of the UTF-8 sequence at `at`, 0 when there is none.
size_t utf8LengthAt(const std::string& bytes, size_t at);

// "1.50 MiB". Units of 1024.
std::string sizeText(uint64_t bytes);
// "1234.5" MB/s, units of 1000000 bytes. 0 for no time.
double megabytesPerSecond(uint64_t bytes, double ms);

// "4096", "64K", "1MiB", "1.5G": units of 1024, a part of one rounded down to bytes. False for
// anything else, and for what does not fit.
bool parseSize(const std::string& text, uint64_t& bytes);

// The bytes of a name of the library's.
std::string bytesOf(const LightweightString<wchar_t>& name);

// The engine's form of a name on the command line. A relative name is anchored, so that no name is
// taken for one of the engine's own prefixes.
LightweightString<wchar_t> enginePath(const std::string& name);
