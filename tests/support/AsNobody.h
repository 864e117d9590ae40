#pragma once

#include <grp.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ScratchFolder.h"

// What a check in a process of its own saw.
enum eSeen { eRight, eWrong, eCannotTry };

inline constexpr char kNobodyHere[] = "no process can be made that may not do everything";
inline constexpr uid_t kNobody = 65534;

// Runs a check in a process that may not do everything, and that owns the folder: for root, who
// may, one of another user. What it left of the folder's mode is taken back.
template <typename Check>
eSeen asNobody(const ScratchFolder& folder, Check check) {
  pid_t child = fork();
  if (child == 0) {
    const char* path = folder.path().c_str();
    bool isRoot = geteuid() == 0;
    bool isNobody = !isRoot || (chown(path, kNobody, kNobody) == 0 && setgroups(0, nullptr) == 0 &&
                                setresgid(kNobody, kNobody, kNobody) == 0 &&
                                setresuid(kNobody, kNobody, kNobody) == 0);
    if (!isNobody || access(path, R_OK | W_OK | X_OK) != 0) _exit(eCannotTry);
    _exit(check() ? eRight : eWrong);
  }
  int status = -1;
  bool ended = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
  chmod(folder.path().c_str(), 0700);
  return ended ? static_cast<eSeen>(WEXITSTATUS(status)) : eWrong;
}
