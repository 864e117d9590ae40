#pragma once

// Simple case folding: the character that stands for all cases of this one. It knows the letters of
// Latin (U+0000 to U+017F), Greek, Coptic and Cyrillic (U+0370 to U+052F); every other character
// stands for itself. Two that fold across a border of these (the Kelvin sign, say) stay apart.
// Threads    any; pure; no locale.
wchar_t foldCase(wchar_t character);
