#pragma once

#include <optional>
#include <string_view>

#include "platform/LightweightString.h"
#include "platform/common/TextLines.h"

// The settings in the lines of a text: "name = value". Blanks around both do not matter; a line
// that begins with '#', or has no '=', is none of ours. The last line of a name counts. Any text
// can be a name and a value.
// Escapes    in a value a backslash, a line's end, a zero, and a blank at either end are written as
//            \\ \r \n \0 \s (space) and \t. Any other backslash stands for itself. A name is
//            written as it is; only one that is empty, is no line, has a '=', a '#' at its start or
//            a blank at either end is escaped in the same way, '=' as \e, and its line begins with
//            a '=': "= name = value".
// Threads    any; pure.
namespace PreferenceLines {

std::optional<LightweightString<wchar_t>> find(const TextLines::Lines& lines,
                                               std::string_view name);
// The lines after a change: the first line of the name has the value, the others of it are gone;
// without a value all are. What is no line of that name is as it was.
TextLines::Lines changed(const TextLines::Lines& lines, std::string_view name,
                         const std::optional<LightweightString<wchar_t>>& value);

}  // namespace PreferenceLines
