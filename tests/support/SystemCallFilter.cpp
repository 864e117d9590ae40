#include "tests/support/SystemCallFilter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace {

// What one argument of the call must be, counted from 0.
struct Argument {
  uint32_t number = 0;
  uint32_t least = 0;
  uint32_t most = UINT32_MAX;
};

// The lower half of an argument comes first on this system's processors.
bool install(int call, uint32_t action, const Argument& argument = {}) {
  constexpr uint32_t kBytes = sizeof(uint64_t);
  uint32_t place = offsetof(seccomp_data, args) + argument.number * kBytes;
  std::array<sock_filter, 7> program = {
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call), 0, 4),
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, place),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, argument.least, 0, 2),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, argument.most, 1, 0),
      sock_filter BPF_STMT(BPF_RET | BPF_K, action),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace

bool SystemCallFilter::refuse(int call, int error, uint32_t leastFirst, uint32_t mostFirst) {
  uint32_t action = SECCOMP_RET_ERRNO | static_cast<uint32_t>(error);
  return install(call, action, {0, leastFirst, mostFirst});
}

bool SystemCallFilter::refuseSecond(int call, int error, uint32_t second) {
  return install(call, SECCOMP_RET_ERRNO | static_cast<uint32_t>(error), {1, second, second});
}

bool SystemCallFilter::kill(int call) { return install(call, SECCOMP_RET_KILL_PROCESS); }

bool SystemCallFilter::trap(int call) { return install(call, SECCOMP_RET_TRAP); }

bool SystemCallFilter::trapUnmarked(int call) {
  return install(call, SECCOMP_RET_TRAP, {5, 0, kMark - 1}) &&
         install(call, SECCOMP_RET_TRAP, {5, kMark + 1, UINT32_MAX});
}

bool SystemCallFilter::isAllowed() {
  pid_t child = fork();
  if (child == 0) _exit(refuse(SYS_io_uring_setup, EPERM) ? 0 : 1);
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
