#pragma once

#include "platform/LightweightString.h"

// DriveQuestions: what the registry asks of the drive that holds a path, which may fall silent.
// Threads    any that holds no lock; each waits for the drive, but not for long.
// Errors     false, also when the drive does not answer in time; the thread's last error says why.
namespace DriveQuestions {

// What is changed on a drive is waited for longer than what is only asked.
constexpr unsigned kMakePatience_ms = 1500;

bool folderIsThere(const LightweightString<wchar_t>& path);
// Whether this process may write there: make files in a folder, or change a file.
bool isWritable(const LightweightString<wchar_t>& path);
// Makes the folder and its missing parents, all durable; true when it is there already. One that is
// given up may still be made later.
bool makeFolder(const LightweightString<wchar_t>& path);

}  // namespace DriveQuestions
