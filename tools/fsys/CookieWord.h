#pragma once

#include <string>

#include "platform/Cookie.h"
#include "tools/fsys/ToolError.h"

// Cookies on the command line.

// The cookie whose whole text the word is, in letters of either case; throws for anything else.
Cookie requireCookie(const char* doing, const std::string& word);
std::string textOf(const Cookie& cookie);
// That the catalogue has nothing of it, and which locations are away. The registry is there.
ToolError noMediaOf(const char* doing, const Cookie& cookie);
