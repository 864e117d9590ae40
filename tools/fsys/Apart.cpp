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

#include "platform/ConfigInt.h"
#include "platform/OS.h"

namespace {

constexpr std::array<std::string_view, 18> kCommands = {
    "drives", "locations", "prepare", "task",  "best", "time",  "unc",   "scan",   "find",
    "shot",   "media",     "link",    "proxy", "rm",   "watch", "login", "logout", "who"};
constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kSignalExit = 128;  // and the signal's number

volatile sig_atomic_t child = 0;
volatile sig_atomic_t passedOn = 0;
int tellCode = -1;  // the child's, for its exit code

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
void beChildOf(pid_t parent) {
  setpgid(0, 0);
  signal(SIGTTOU, SIG_IGN);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
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
  iFileManager* files = OS()->getFileManager();
  if (!files->mayDriveFallSilent()) return false;
  bool asksDrives =
      count > 1 && std::find(kCommands.begin(), kCommands.end(), arguments[1]) != kCommands.end();
  return asksDrives || files->mayFallSilent(configFile());
}

void goApart() {
  std::array<int, 2> line = {-1, -1};
  if (pipe2(line.data(), O_CLOEXEC) != 0) return;
  pid_t self = getpid();
  sigset_t before = blockSignals();
  pid_t made = fork();
  child = made;
  if (made > 0) passSignalsOn();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(line[made == 0 ? 0 : 1]);
  if (made > 0) _exit(codeFrom(line[0]));
  if (made == 0) {
    tellCode = line[1];
    beChildOf(self);
  } else {
    close(line[0]);
  }
}

int endOf(int code) {
  if (tellCode < 0) return code;
  auto byte = static_cast<unsigned char>(code);
  letGoOfOutput();
  [[maybe_unused]] ssize_t told = write(tellCode, &byte, 1);
  _exit(byte);
}
