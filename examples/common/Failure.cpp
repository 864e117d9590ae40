#include "Failure.h"

#include "platform/OS.h"

std::string inQuotes(const LightweightString<wchar_t>& name) {
  std::string bytes;
  // Exactly the bytes that the system has, where it is the name of a file.
  if (!toPathBytes(name, bytes)) bytes = toUTF8(name).c_str();
  return "\"" + bytes + "\"";
}

// The engine's own codes are small numbers, which say nothing to people.
std::string wordsOf(uint32_t error) {
  if (error > eOsErrorBase) return OS()->getErrors()->describe(error);
  return "no reason is known";
}
