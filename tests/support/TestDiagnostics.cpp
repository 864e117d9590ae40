#include "tests/support/TestDiagnostics.h"

#include <utility>

TestDiagnostics::TestDiagnostics() {
  DiagnosticSinks sinks;
  sinks.out = [this](const std::string& text) { add(out_, text); };
  sinks.log = [this](const std::string& text) { add(log_, text); };
  sinks.logBoth = [this](const std::string& text) { add(logBoth_, text); };
  sinks.splat = [this](int level, const std::string& text) { add(splats_, Splat{level, text}); };
  sinks.display = [this](int column, int row, const std::wstring& text) {
    add(display_, Shown{column, row, text});
  };
  before_ = setDiagnosticSinks(std::move(sinks));
}

TestDiagnostics::~TestDiagnostics() { setDiagnosticSinks(std::move(before_)); }

std::string TestDiagnostics::outText() const {
  std::string all;
  for (const std::string& text : out()) all += text;
  return all;
}

void TestDiagnostics::clear() {
  std::lock_guard lock(lock_);
  out_.clear();
  log_.clear();
  logBoth_.clear();
  splats_.clear();
  display_.clear();
}
