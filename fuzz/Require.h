#pragma once

#include <cstdio>
#include <cstdlib>

// What must hold for every input. It stays in every build; the fuzzer keeps the input that broke
// it.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}
