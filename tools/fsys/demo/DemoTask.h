#pragma once

// The task that the day's recordings are made for.
inline constexpr const char* kRecordTask = "Record";
