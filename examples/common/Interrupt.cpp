#include "Interrupt.h"

#include <signal.h>

#include <initializer_list>

namespace {

volatile sig_atomic_t wasRequested = 0;

// The engine's threads take no signals: this runs on one of the program's own.
void onSignal(int number) {
  wasRequested = 1;
  signal(number, SIG_DFL);
}

}  // namespace

// Whoever waits in a system call meanwhile is let out of it.
void Interrupt::install() {
  struct sigaction action = {};
  action.sa_handler = &onSignal;
  for (int number : {SIGINT, SIGTERM}) sigaction(number, &action, nullptr);
}

bool Interrupt::isRequested() { return wasRequested != 0; }
