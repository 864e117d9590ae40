#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// NewsLog: what was told, and who must have heard it.
// Story      Whoever tells notes it before and after; whoever listens notes when he came and went.
//            Moments are numbers that only rise. What was told wholly within a stay was heard once;
//            what was told wholly before or after it was not; what was told as a listener came or
//            went may have been, once.
// Threads    any.
class NewsLog {
public:
  // What it is about; each is told once.
  using Item = std::pair<int, std::string>;
  // The moments around a listener's coming and going.
  struct Stay {
    uint64_t beforeComing = 0;
    uint64_t afterComing = 0;
    uint64_t beforeGoing = 0;
    uint64_t afterGoing = 0;
  };

  uint64_t moment() {
    std::lock_guard lock(lock_);
    return ++last_;
  }
  void begin(const Item& item) {
    std::lock_guard lock(lock_);
    told_[item] = {++last_, kGoesOn};
  }
  void end(const Item& item) {
    std::lock_guard lock(lock_);
    told_[item].end = ++last_;
  }

  // What was not heard as it must have been; empty when all was.
  std::string whyNotHeard(const Stay& stay, const std::vector<Item>& heard) const {
    std::map<Item, unsigned> times;
    for (const Item& item : heard) ++times[item];
    std::lock_guard lock(lock_);
    for (const auto& [item, count] : times) {
      if (count > 1) return "heard twice of " + item.second;
      if (!told_.contains(item)) return "heard of " + item.second + ", of which nobody told";
    }
    for (const auto& [item, telling] : told_) {
      const bool isHeard = times.contains(item);
      if (!isHeard && telling.begin > stay.afterComing && telling.end < stay.beforeGoing)
        return "did not hear of " + item.second;
      if (isHeard && telling.end < stay.beforeComing)
        return "heard of " + item.second + ", which was told before it came";
      if (isHeard && telling.begin > stay.afterGoing)
        return "heard of " + item.second + ", which was told after it had gone";
    }
    return "";
  }
  // What was told by then: no listener that is still to be asked about had come.
  void forgetBefore(uint64_t moment) {
    std::lock_guard lock(lock_);
    std::erase_if(told_, [moment](const auto& entry) { return entry.second.end < moment; });
  }
  size_t size() const {
    std::lock_guard lock(lock_);
    return told_.size();
  }

private:
  static constexpr uint64_t kGoesOn = std::numeric_limits<uint64_t>::max();
  struct Telling {
    uint64_t begin = 0;
    uint64_t end = kGoesOn;
  };

  mutable std::mutex lock_;  // guards what follows
  uint64_t last_ = 0;
  std::map<Item, Telling> told_;
};
