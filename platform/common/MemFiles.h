#pragma once

#include "platform/OsFiles.h"

// The prefix of the names that are served from memory.
inline constexpr wchar_t kMemFilePrefix[] = L"mem:";

// A provider of files in memory, shared by name among everybody who asks the same provider.
// Story      Opening for reading takes an existing file; opening for writing makes it when it is
//            missing and never truncates. A removed file lives on for those who have it open.
// Threads    any.
// Units      at most 2^63 - 1 bytes a file; what was never written reads as zeros, costs nothing.
// Errors     of the files, beside those of iFile: eOsNotFound (no such file), eOsAccessDenied
//            (opened for the other direction only), eOsInvalid (closed, or a null buffer),
//            eOsTooLarge, eOsNoMemory.
Qv::Ptr<iFileProvider> makeMemFileProvider();
