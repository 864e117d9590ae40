#pragma once

// NeverDestroyed: room for a process-wide object that is constant-initialised, so that it works
// before main, and whose destructor never runs, so that it works after main.
template <typename T>
union NeverDestroyed {
  constexpr NeverDestroyed() : value() {}
  constexpr ~NeverDestroyed() {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T value;
};
