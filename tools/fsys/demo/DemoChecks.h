#pragma once

#include <cstdint>
#include <string>

// DemoChecks: what a step of the demo looks at, and how often that was as expected.
// Threads    one.
// Errors     same throws a verification failure, which says what was expected and what was found.
class DemoChecks {
public:
  void same(const std::string& what, const std::string& expected, const std::string& found);
  void same(const std::string& what, uint64_t expected, uint64_t found);
  // Whether something is there.
  void isThere(const std::string& what, bool expected, bool found);
  // Checks that were made elsewhere, and went well.
  void add(uint64_t count) { count_ += count; }
  uint64_t count() const { return count_; }

private:
  uint64_t count_ = 0;
};
