// A program that hangs in two threads, for the test of what is printed then.
#include <unistd.h>

#include <thread>

namespace {

[[gnu::noinline]] void waitForWhatNeverComes() {
  for (;;) pause();
}

// Another body, or the compiler makes one function of both.
[[gnu::noinline]] void waitInAnotherThread(unsigned times) {
  while (times > 0) times -= static_cast<unsigned>(pause() == 0);
}

}  // namespace

int main() {
  std::thread other(waitInAnotherThread, 1u);
  waitForWhatNeverComes();
}
