#pragma once

#include <liburing.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

// Ring: a ring without flags, of at least so many entries. One thread at a time.
// Errors     throws std::runtime_error.
class Ring {
public:
  explicit Ring(unsigned depth) {
    int result = io_uring_queue_init(std::max(depth, 4u), &ring_, 0);
    if (result < 0) throw std::runtime_error(std::string("no ring: ") + std::strerror(-result));
  }
  ~Ring() { io_uring_queue_exit(&ring_); }
  Ring(const Ring&) = delete;
  Ring& operator=(const Ring&) = delete;
  io_uring* get() { return &ring_; }

  // Submits what was prepared, one transfer, and waits for it: its result.
  int finishOne() {
    io_uring_submit_and_wait(&ring_, 1);
    io_uring_cqe* ended = nullptr;
    int result = io_uring_wait_cqe(&ring_, &ended);
    if (result < 0) return result;
    result = ended->res;
    io_uring_cqe_seen(&ring_, ended);
    return result;
  }

private:
  io_uring ring_;
};
