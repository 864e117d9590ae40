#pragma once

#include <functional>
#include <string>

#include "platform/PlatformExport.h"

// Diagnostics: where the library's texts go. Every function takes a printf format.
// Threads    any; one text is passed on whole.
//
//   Log            a line for the log                    standard error
//   LogBoth        the same, and for the person as well  standard error and standard output
//   qa_splat       an operational warning of a level     standard error
//   putOut         a fixed diagnostic                    standard output
//   herc_putstr    a text at a place of a debug display  standard error
PLATFORM_EXPORT void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
PLATFORM_EXPORT void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));
PLATFORM_EXPORT void qa_splat(int level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
PLATFORM_EXPORT void putOut(const char* format, ...) __attribute__((format(printf, 1, 2)));
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
