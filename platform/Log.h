#pragma once

#include <functional>
#include <string>

#include "platform/PlatformExport.h"

// Diagnostics: where the library's texts go. Those with a format take printf's.
// Threads    any; one text is passed on whole.

// A line for the log: standard error.
PLATFORM_EXPORT void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same, and for the person as well: standard error and standard output.
PLATFORM_EXPORT void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));
// An operational warning of a level: standard error.
PLATFORM_EXPORT void qa_splat(int level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
// A fixed diagnostic: standard output.
PLATFORM_EXPORT void putOut(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A text at a place of a debug display: standard error.
PLATFORM_EXPORT void herc_putstr(int column, int row, const wchar_t* text);

// DiagnosticSinks: one sink for each kind. An empty one is the default above.
struct DiagnosticSinks {
  std::function<void(const std::string& text)> log;
  std::function<void(const std::string& text)> logBoth;
  std::function<void(int level, const std::string& text)> splat;
  std::function<void(const std::string& text)> out;
  std::function<void(int column, int row, const std::wstring& text)> display;
};

// Replaces the sinks and returns those that were there. Any thread; a text that is being passed on
// may still reach the old sink.
PLATFORM_EXPORT DiagnosticSinks setDiagnosticSinks(DiagnosticSinks sinks);
