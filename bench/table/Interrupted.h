#pragma once

#include <csignal>
#include <stdexcept>

// Interrupted: an interrupt ends the run between two rounds, so that its files are taken away.
namespace Interrupted {

inline volatile std::sig_atomic_t asked = 0;

inline void listen() {
  std::signal(SIGINT, [](int) { asked = 1; });
  std::signal(SIGTERM, [](int) { asked = 1; });
}

// Throws std::runtime_error once an interrupt has come.
inline void check() {
  if (asked) throw std::runtime_error("interrupted");
}

}  // namespace Interrupted
