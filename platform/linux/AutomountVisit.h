#pragma once

#include <string>

#include "platform/OsThreads.h"
#include "platform/linux/MountTree.h"

// AutomountVisit: goes where a path leads, so that the system mounts what it mounts when somebody
// goes there.
// Threads    run: one, which waits for the system; the answer is read by whoever knows that it has
//            run.
// Ownership  holds the tree, so that what it found is good as long as the visit.
class AutomountVisit final : public iTask {
public:
  AutomountVisit(const Qv::Ptr<MountTree>& tree, const std::string& path)
      : tree_(tree), path_(path) {}

  void run() override;

  // Where the path lies as long as nothing was mounted; when that is not known, `error` is the
  // system's error number.
  const MountTree::Found& found() const { return found_; }
  int error() const { return error_; }

private:
  const Qv::Ptr<MountTree> tree_;
  const std::string path_;
  MountTree::Found found_;
  int error_ = 0;
};
