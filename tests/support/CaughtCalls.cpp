#include "tests/support/CaughtCalls.h"

#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tests/support/SystemCallFilter.h"

namespace {

CaughtCalls::Function before;

void answerCaught(int, siginfo_t* told, void* state) {
  int error = errno;
  greg_t* registers = static_cast<ucontext_t*>(state)->uc_mcontext.gregs;
  const CaughtCalls::Arguments a = {
      static_cast<long>(registers[REG_RDI]), static_cast<long>(registers[REG_RSI]),
      static_cast<long>(registers[REG_RDX]), static_cast<long>(registers[REG_R10]),
      static_cast<long>(registers[REG_R8])};
  std::optional<long> answer = before(a);
  if (!answer) {
    answer = syscall(told->si_syscall, a[0], a[1], a[2], a[3], a[4], SystemCallFilter::kMark);
    if (*answer == -1) answer = -errno;
  }
  registers[REG_RAX] = *answer;
  errno = error;
}

}  // namespace

bool CaughtCalls::begin(int call, Function function) {
  before = std::move(function);
  struct sigaction action = {};
  action.sa_sigaction = answerCaught;
  action.sa_flags = SA_SIGINFO;
  return sigaction(SIGSYS, &action, nullptr) == 0 && SystemCallFilter::trapUnmarked(call);
}
