#pragma once

#include <unistd.h>

#include <utility>

// Descriptor: owns a descriptor of the system's, or none (-1).
// Threads    one owner.
class Descriptor {
public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }

private:
  int number_ = -1;
};
