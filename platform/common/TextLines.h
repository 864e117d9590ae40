#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/LightweightString.h"
#include "platform/Vector.h"

// The lines of a text and the text of lines.
// Story      What join gives, split takes apart into the same lines, whatever they hold but
//            LF and NUL: a line that ends in CR is ended by CR LF, since CR LF is one end; and
//            where the first line begins with a byte order mark, one more stands before it, since a
//            first one is no part of the text.
// Threads    any; pure.
namespace TextLines {

using Lines = Vector<LightweightString<char>>;

Lines split(std::string_view text);

// False, and `text` empty, when it would have more than `mostBytes`.
bool join(const Lines& lines, std::string_view ending, uint64_t mostBytes, std::string& text);

}  // namespace TextLines
