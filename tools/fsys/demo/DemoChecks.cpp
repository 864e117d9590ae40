#include "tools/fsys/demo/DemoChecks.h"

#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

std::string shown(const std::string& text) { return text.empty() ? "nothing" : escaped(text); }

}  // namespace

void DemoChecks::same(const std::string& what, const std::string& expected,
                      const std::string& found) {
  if (expected != found)
    throw ToolError(ExitCode::eVerification, "checking", what,
                    "expected " + shown(expected) + ", found " + shown(found));
  ++count_;
}

void DemoChecks::same(const std::string& what, uint64_t expected, uint64_t found) {
  same(what, std::to_string(expected), std::to_string(found));
}

void DemoChecks::isThere(const std::string& what, bool expected, bool found) {
  same(what, std::string(expected ? "it there" : "it gone"),
       std::string(found ? "it there" : "it gone"));
}
