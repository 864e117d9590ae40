#include "tools/fsys/Apart.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "platform/OS.h"
#include "tools/fsys/Tool.h"

namespace {

constexpr std::array<std::string_view, 7> kCommands = {"drives", "locations", "prepare", "task",
                                                       "best",   "time",      "unc"};
constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kSignalExit = 128;  // and the signal's number

volatile sig_atomic_t child = 0;
volatile sig_atomic_t passedOn = 0;

// Behind the first there may be a process that is being held.
void passOn(int number) {
  int error = errno;
  kill(child, number);
  if (passedOn != 0) {
    signal(number, SIG_DFL);
    raise(number);
  }
  passedOn = 1;
  errno = error;
}

sigset_t blockSignals() {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  for (int number : kSignals) sigaddset(&blocked, number);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  return before;
}

void passSignalsOn() {
  struct sigaction action = {};
  action.sa_handler = &passOn;
  sigemptyset(&action.sa_mask);
  for (int number : kSignals) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

// A thread that is held would keep the descriptors open for whoever reads what was said.
void letGoOfOutput() {
  int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard)
    if (nothing < 0 || dup2(nothing, standard) < 0) close(standard);
}

// In a group of its own, so that it gets each signal once: from its parent.
[[noreturn]] void work(int count, const char* const* arguments, pid_t parent, int line) {
  setpgid(0, 0);
  signal(SIGTTOU, SIG_IGN);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  auto code = static_cast<unsigned char>(runTool(count, arguments));
  letGoOfOutput();
  [[maybe_unused]] ssize_t told = write(line, &code, 1);
  _exit(code);
}

// The exit code of a child that has told it, or ended in another way.
int codeFrom(int line) {
  unsigned char code = 0;
  ssize_t told = 0;
  do {
    told = read(line, &code, 1);
  } while (told < 0 && errno == EINTR);
  if (told == 1) return code;
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
  signal(WTERMSIG(status), SIG_DFL);
  raise(WTERMSIG(status));
  return kSignalExit + WTERMSIG(status);
}

}  // namespace

bool mayBeHeld(int count, const char* const* arguments) {
  if (count < 2) return false;
  if (std::find(kCommands.begin(), kCommands.end(), arguments[1]) == kCommands.end()) return false;
  return OS()->getFileManager()->mayDriveFallSilent();
}

int runApart(int count, const char* const* arguments) {
  std::array<int, 2> line = {-1, -1};
  if (pipe2(line.data(), O_CLOEXEC) != 0) return runTool(count, arguments);
  pid_t self = getpid();
  sigset_t before = blockSignals();
  pid_t made = fork();
  if (made == 0) {
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(line[0]);
    work(count, arguments, self, line[1]);
  }
  close(line[1]);
  child = made;
  if (made > 0) passSignalsOn();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  int code = made > 0 ? codeFrom(line[0]) : runTool(count, arguments);
  close(line[0]);
  return code;
}
