#pragma once

#include <cstdarg>
#include <string>

// A printf format with its arguments as text. Unlike the C library's, a wide argument (%ls, %lc)
// becomes UTF-8 whatever the locale is, and cannot make the whole text fail. %n is ignored.
std::string formatText(const char* format, va_list arguments);
