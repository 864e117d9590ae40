#pragma once

#include <functional>

#include "tools/fsys/demo/DemoEntry.h"

// DemoInterview: the catalogue is asked everything that can be asked of the day's media, and each
// answer is compared with the one that ought to come.
// Errors     throws for the first that is another.
class DemoInterview {
public:
  // An answer that is a file.
  using Take = std::function<void(const DemoFile& file)>;

  // `away`: a drive that is not there, or null.
  DemoInterview(DemoDay& day, const DemoDrive* away = nullptr);

  // Which file serves each cookie, in each format.
  void askAll(DemoChecks& checks, const Take& take = nullptr) const;
  // Whether each clip is offline; how many are.
  uint64_t askOffline(DemoChecks& checks) const;

private:
  std::vector<DemoQuestion> questions_;
  std::vector<DemoEntry> entries_;
};
