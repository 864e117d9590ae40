#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "platform/OsThreads.h"

class FakeWorld;

// FakeEvent: an event whose waits run the fake world instead of blocking.
class FakeEvent final : public iThreadEvent {
public:
  // `number`: how many events and threads were made before. `live` counts the events that exist;
  // it is shared, since an event may outlive the fake.
  FakeEvent(FakeWorld& world, uint64_t number, std::shared_ptr<unsigned> live)
      : world_(world), number_(number), live_(std::move(live)) {
    ++*live_;
  }
  ~FakeEvent() override { --*live_; }

  void signal() override { signalled_ = true; }
  void reset() override { signalled_ = false; }
  bool wait(uint32_t timeout_ms) override;

  bool isSignalled() const { return signalled_; }
  uint64_t number() const { return number_; }
  // Takes the signal away, if there is one.
  bool take() {
    bool was = signalled_;
    signalled_ = false;
    return was;
  }

private:
  FakeWorld& world_;
  const uint64_t number_;
  const std::shared_ptr<unsigned> live_;
  bool signalled_ = false;
};
