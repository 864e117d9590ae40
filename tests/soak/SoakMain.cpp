// The soak: everything that a machine with many users does at once, for an hour.

#include <cstdio>
#include <exception>

#include "bench/table/Interrupted.h"
#include "tests/soak/Soak.h"

int main(int count, char** words) try {
  SoakOptions options;
  if (!options.read(count, words)) {
    std::fputs(SoakOptions::usage(), stderr);
    return 2;
  }
  Interrupted::listen();
  return Soak(options).run();
} catch (const std::exception& error) {
  std::fprintf(stderr, "fsys_soak: %s\n", error.what());
  return 1;
}
