#pragma once

#include <string>
#include <utility>

#include "platform/Log.h"

// CapturedDiagnostics: keeps the library's diagnostics for as long as it lives instead of letting
// them out, and puts the sinks back that were there.
// Threads    one; texts of other threads must not come while it lives.
class CapturedDiagnostics {
public:
  CapturedDiagnostics() {
    DiagnosticSinks sinks;
    sinks.log = [this](const std::string& text) { log += text; };
    sinks.logBoth = [this](const std::string& text) { logBoth += text; };
    sinks.splat = [this](int level, const std::string& text) {
      splat += text;
      splatLevel = level;
    };
    sinks.out = [this](const std::string& text) { out += text; };
    sinks.display = [this](int column, int row, const std::wstring& text) {
      display = text;
      displayColumn = column;
      displayRow = row;
    };
    before_ = setDiagnosticSinks(std::move(sinks));
  }
  ~CapturedDiagnostics() { setDiagnosticSinks(std::move(before_)); }
  CapturedDiagnostics(const CapturedDiagnostics&) = delete;
  CapturedDiagnostics& operator=(const CapturedDiagnostics&) = delete;

  std::string log;
  std::string logBoth;
  std::string splat;
  std::string out;
  std::wstring display;
  int splatLevel = -1;
  int displayColumn = -1;
  int displayRow = -1;

private:
  DiagnosticSinks before_;
};
