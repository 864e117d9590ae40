// fsys: the command line tool of the library.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "tools/fsys/Apart.h"
#include "tools/fsys/Tool.h"

namespace {

// A closed standard descriptor would become that of the next file that is opened.
void openStandardDescriptors() {
  for (int expected = STDIN_FILENO; expected <= STDERR_FILENO; ++expected)
    if (fcntl(expected, F_GETFD) < 0 && open("/dev/null", O_RDWR) != expected) _exit(1);
}

// Before the libraries are initialised.
void begin(int count, char** arguments, char** environment) {
  openStandardDescriptors();
  environ = environment;  // as the C library will find it
  if (mayBeHeld(count, arguments)) goApart();
}

[[gnu::used, gnu::section(".preinit_array")]] void (*const kBegin)(int, char**, char**) = &begin;

}  // namespace

int main(int count, char** arguments) {
  // In step with standard error, also where both go to one file.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  return endOf(runTool(count, arguments));
}
