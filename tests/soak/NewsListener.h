#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "platform/Notifier.h"
#include "tests/soak/Findings.h"
#include "tests/soak/NewsLog.h"

// NewsListener: writes down what the catalogue tells it.
// Threads    told on any, with the catalogue's lock held; heard() by any.
class NewsListener final : public iCallbackBase<int, NotifyMsg> {
public:
  explicit NewsListener(Findings& findings) : findings_(findings) {}

  int callback(NotifyMsg message) override {
    const std::string cookie(message.getText().view());
    if (!dynamic_cast<FsysDirectoryEntry*>(message.getPayload().get()))
      findings_.add("a listener was told of " + cookie + " without its entry");
    std::lock_guard lock(lock_);
    heard_.emplace_back(static_cast<int>(message.getType()), cookie);
    return 0;
  }
  std::vector<NewsLog::Item> heard() const {
    std::lock_guard lock(lock_);
    return heard_;
  }

private:
  Findings& findings_;
  mutable std::mutex lock_;  // guards heard_
  std::vector<NewsLog::Item> heard_;
};
