#include "fsys/LostBytes.h"

#include <new>

#include "platform/Log.h"

void reportLost(uint32_t bytes, const LightweightString<wchar_t>& name) {
  try {
    Log("The last %u bytes of %s could not be written\n", bytes, toUTF8(name).c_str());
  } catch (const std::bad_alloc&) {
    Log("The last %u bytes of a file could not be written\n", bytes);
  }
}

void reportLeft(const LightweightString<wchar_t>& name) {
  try {
    Log("What %s held may not be written: it was at work as the process ended\n",
        toUTF8(name).c_str());
  } catch (const std::bad_alloc&) {
    Log("What a file held may not be written: it was at work as the process ended\n");
  }
}
