#include "tools/fsys/Confirmation.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/TextHelpers.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr double kForEver = -1;

// Foreground: while it is there the terminal is this process's, whose parent may have it: see
// goApart. Of a job in the background it is not taken.
class Foreground {
public:
  Foreground() : before_(tcgetpgrp(STDIN_FILENO)) {
    isTaken_ = before_ != getpgrp() && before_ == getpgid(getppid()) &&
               tcsetpgrp(STDIN_FILENO, getpgrp()) == 0;
  }
  ~Foreground() {
    if (isTaken_) tcsetpgrp(STDIN_FILENO, before_);
  }
  Foreground(const Foreground&) = delete;
  Foreground& operator=(const Foreground&) = delete;

private:
  pid_t before_;
  bool isTaken_ = false;
};

std::string readLine() {
  std::string line;
  char byte = 0;
  for (;;) {
    Interrupt::wait(STDIN_FILENO, kForEver);
    ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || byte == '\n') return line;
    line += byte;
  }
}

}  // namespace

bool Confirmation::canAsk() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

void Confirmation::show(const std::string& line) {
  if (isatty(STDOUT_FILENO) != 1) std::fprintf(stderr, "%s\n", line.c_str());
}

bool Confirmation::isGiven(const std::string& question) {
  Foreground foreground;
  tcflush(STDIN_FILENO, TCIFLUSH);
  std::fprintf(stderr, "%s [y/N] ", question.c_str());
  std::string answer = readLine();
  return equalsNoCase(answer, "y") || equalsNoCase(answer, "yes");
}
