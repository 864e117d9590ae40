#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The arithmetic of UTF-8 with escapes: an undecodable byte b stands as U+DC00+b.
namespace Utf8 {

struct Decoded {
  char32_t character;  // the code point, or the escape of one byte
  size_t bytes;        // how many bytes it took, at least 1
};

// The first character of a text that is not empty. Strict: overlong forms, surrogates and numbers
// past U+10FFFF are undecodable bytes.
Decoded decodeOne(std::string_view text);

// Appends the bytes of a character; false, and nothing appended, when it has none.
bool appendBytes(char32_t character, std::string& bytes);

}  // namespace Utf8
