#pragma once

#include <unistd.h>

#include <utility>

// Descriptor: an open file that is closed with its scope.
class Descriptor {
public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close() {
    if (number_ >= 0) ::close(std::exchange(number_, -1));
  }

private:
  int number_;
};
