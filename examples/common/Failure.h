#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/LightweightString.h"

// Failure: what ends a program: why, in words, and its exit code.
class Failure : public std::runtime_error {
public:
  enum Code : int {
    eFailed = 1,         // a file cannot be opened, read or decoded
    eUsage = 2,          // the command line
    eNotFound = 3,       // the catalogue has no such media
    eInterrupted = 130,  // by Ctrl-C, as a shell has it
  };

  Failure(Code code, const std::string& words) : std::runtime_error(words), code(code) {}

  const Code code;
};

// A name between quotes.
std::string inQuotes(const LightweightString<wchar_t>& name);
// What the engine's last error means, in words.
std::string wordsOf(uint32_t error);
