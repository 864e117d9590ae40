#include "fsys/DriveId.h"

LightweightString<char> DriveId::asString() const {
  char character = static_cast<char>(code_);
  return LightweightString<char>(&character, 1);
}
