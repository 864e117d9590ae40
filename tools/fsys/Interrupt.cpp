#include "tools/fsys/Interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <ctime>

#include "platform/Clocks.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr double kNsPerMs = 1e6;
constexpr double kMsPerSecond = 1e3;

std::atomic<int> signalNumber{0};
int wakePipe[2] = {-1, -1};  // readable for ever once the end was asked for

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// From the first signal on, any of them has its usual effect.
void onSignal(int number) {
  int error = errno;
  for (int other : kSignals) {
    struct sigaction now = {};
    sigaction(other, nullptr, &now);
    if (now.sa_handler == &onSignal) signal(other, SIG_DFL);
  }
  signalNumber.store(number);
  char byte = 1;
  [[maybe_unused]] ssize_t written = write(wakePipe[1], &byte, 1);
  errno = error;
}

timespec toTimespec(double ms) {
  timespec result{};
  result.tv_sec = static_cast<time_t>(ms / kMsPerSecond);
  result.tv_nsec =
      static_cast<long>((ms - static_cast<double>(result.tv_sec) * kMsPerSecond) * kNsPerMs);
  return result;
}

}  // namespace

void Interrupt::install() {
  if (wakePipe[0] < 0 && pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0)
    throw systemError("preparing for signals", "", errno);
  signalNumber.store(0);
  for (char byte = 0; read(wakePipe[0], &byte, 1) == 1;) {
  }
  struct sigaction action = {};
  action.sa_handler = &onSignal;
  sigemptyset(&action.sa_mask);
  for (int number : kSignals) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
  // A reader of our output that goes away is an error of that write.
  signal(SIGPIPE, SIG_IGN);
}

int Interrupt::requested() { return signalNumber.load(); }

void Interrupt::check() {
  if (requested() != 0) throw ToolError(ExitCode::eInterrupted, "", "", "interrupted");
}

bool Interrupt::wait(int descriptor, double timeout_ms) {
  double deadline_ms = Qv::now() + timeout_ms;
  for (;;) {
    check();
    pollfd polled[2] = {{wakePipe[0], POLLIN, 0}, {descriptor, POLLIN, 0}};
    double left_ms = timeout_ms < 0 ? 0 : std::max(deadline_ms - Qv::now(), 0.0);
    timespec left = toTimespec(left_ms);
    int ready = ppoll(polled, 2, timeout_ms < 0 ? nullptr : &left, nullptr);
    check();
    if (ready > 0 && polled[1].revents != 0) return true;
    if (ready == 0) return false;
    if (ready < 0 && errno != EINTR) throw systemError("waiting", "", errno);
  }
}
