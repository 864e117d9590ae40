#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

// SimTrace: what happened in a simulation, a line each; what happened inside something else is
// indented. It holds no address and no real time, so that equal seeds write equal traces.
class SimTrace {
public:
  class Inside {
  public:
    explicit Inside(SimTrace& trace) : trace_(trace) { ++trace_.depth_; }
    ~Inside() { --trace_.depth_; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

  private:
    SimTrace& trace_;
  };

  void note(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    char line[300];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    text_.append(2 * depth_, ' ').append(line).push_back('\n');
  }

  const std::string& text() const { return text_; }
  uint64_t hash() const {
    uint64_t hash = 0xCBF29CE484222325u;
    for (char c : text_) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    return hash;
  }

private:
  std::string text_;
  size_t depth_ = 0;
};
