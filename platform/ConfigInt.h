#pragma once

#include <string_view>

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// The integer of a configuration key: the environment's FSYS_CONFIG_<key>, else the line
// "key = value" of the configuration file, else `value`. The file is the one that FSYS_CONFIG
// names, else fsys/fsys.conf under the XDG configuration folder; it is read once. In it a '#'
// starts a comment; the last line of a key counts. A number is decimal or 0x hexadecimal, within 32
// bits, signed; a bad one is logged with its file and line and gives `value`. So does every key of
// a file whose drive does not answer within kDrivePatience_ms, which is logged once.
// Threads    any that holds no lock which opening a file takes; works before main.
PLATFORM_EXPORT int config_int(const char* key, int value);

// Where the configuration file is looked for; empty when there is no place for one.
PLATFORM_EXPORT LightweightString<wchar_t> configFile();

// The rule for one file's text: the integer for `key`, or `value`. `name` stands in log lines.
PLATFORM_EXPORT int configIntFromText(std::string_view text, std::string_view name, const char* key,
                                      int value);
