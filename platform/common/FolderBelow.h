#pragma once

#include <string_view>
#include <vector>

#include "platform/LightweightString.h"

// The names that lead from a folder down to one below it: what follows in `subfolder` after as many
// characters as `folder` has. None when it does not lie below by its text: it begins otherwise
// (case aside), nothing follows, or one of the names is empty, "." or "..". One separator at the
// end of either is no part of it.
// Threads    any; pure.
std::vector<LightweightString<wchar_t>> namesBelow(std::wstring_view folder,
                                                   std::wstring_view subfolder, wchar_t separator);
