#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <limits>

// Spans: stretches of time in which something was the case; the last may still go on.
// Story      The oldest are forgotten once there are too many: they are asked about soon or never.
// Threads    one at a time.
// Units      milliseconds.
class Spans {
public:
  static constexpr size_t kMost = 256;

  // Nothing when one goes on.
  void begin(double at_ms) {
    if (isOpen()) return;
    spans_.push_back({at_ms, kOpen});
    if (spans_.size() > kMost) spans_.pop_front();
  }
  // Nothing when none goes on.
  void end(double at_ms) {
    if (isOpen()) spans_.back().to_ms = at_ms;
  }
  void add(double from_ms, double to_ms) {
    begin(from_ms);
    end(to_ms);
  }

  bool isOpen() const { return !spans_.empty() && spans_.back().to_ms == kOpen; }
  bool touches(double from_ms, double to_ms) const {
    return std::any_of(spans_.begin(), spans_.end(), [&](const Span& span) {
      return span.from_ms <= to_ms && span.to_ms >= from_ms;
    });
  }
  // How much of that time they cover, at most; spans do not lie over each other.
  double covered_ms(double from_ms, double to_ms) const {
    double sum = 0;
    for (const Span& span : spans_)
      sum += std::max(0.0, std::min(span.to_ms, to_ms) - std::max(span.from_ms, from_ms));
    return sum;
  }
  double longest_ms() const {
    double longest = 0;
    for (const Span& span : spans_)
      if (span.to_ms != kOpen) longest = std::max(longest, span.to_ms - span.from_ms);
    return longest;
  }

private:
  static constexpr double kOpen = std::numeric_limits<double>::infinity();
  struct Span {
    double from_ms;
    double to_ms;
  };

  std::deque<Span> spans_;
};
