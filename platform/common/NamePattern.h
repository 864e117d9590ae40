#pragma once

#include <string>
#include <string_view>

// The signs of a pattern that stand for a '*' and a '?' in the name. They look like escaped bytes,
// but these two bytes are never escaped, so no name has them.
inline constexpr wchar_t kLiteralStar = 0xDC2A;
inline constexpr wchar_t kLiteralQuestionMark = 0xDC3F;

// Whether a file's name matches a pattern: '*' stands for any text, also for none, '?' for any one
// character, a literal sign for the character that it says, and everything else for itself, case
// counting. "*.*" is every name, also one without a dot.
// Threads    any; pure; no allocation.
// Units      the time is at most the product of both lengths, whatever the pattern.
bool matchesPattern(std::wstring_view name, std::wstring_view pattern);
// The pattern with its literal signs as the characters that they say.
std::wstring withoutLiteralSigns(std::wstring_view pattern);
