#pragma once

#include <cstdint>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

#include "tests/fault/FaultAim.h"
#include "tests/soak/SoakClock.h"
#include "tests/soak/SoakFault.h"
#include "tests/soak/Spans.h"

// SoakVictim: one whom a fault can be meant for, and who knows what it did to him.
// Story      expect(), then the fault is armed; it strikes calls of his and nobody else's; isOver()
//            once whoever is to be told has been told; the fault is disarmed, and settle() follows.
//            From the first strike to the settling what is late of his is excused.
// Threads    expect, isOver and settle: the one that makes faults. The aim's: any.
class SoakVictim : public FaultAim {
public:
  SoakVictim(const SoakClock& clock, std::string name) : clock_(clock), name_(std::move(name)) {}
  virtual ~SoakVictim() = default;
  SoakVictim(const SoakVictim&) = delete;
  SoakVictim& operator=(const SoakVictim&) = delete;

  const std::string& name() const { return name_; }
  // Of one of its transfers.
  virtual uint32_t transferBytes() const = 0;
  // Whether that can happen to it.
  virtual bool mayMeet(SoakFault kind) const = 0;

  void expect(SoakFault kind, const Fault& fault) {
    std::lock_guard lock(lock_);
    kind_ = kind;
    fault_ = fault;
    const unsigned most = soakFaultStrikes(kind);
    strikesLeft_ = most == 0 ? std::numeric_limits<unsigned>::max() : most;
    isStruck_ = false;
    expectLocked();
  }
  bool isOver() const {
    std::lock_guard lock(lock_);
    return isStruck_ && isOverLocked();
  }
  bool isStruck() const {
    std::lock_guard lock(lock_);
    return isStruck_;
  }
  void settle() {
    std::lock_guard lock(lock_);
    kind_ = SoakFault::eKinds;
    hit_.end(clock_.now_ms());
  }

  bool isMeant(const FaultPlace& place) override {
    std::lock_guard lock(lock_);
    return strikesLeft_ > 0 && isMeantLocked(place);
  }
  void struck(const FaultPlace& place) override {
    std::lock_guard lock(lock_);
    --strikesLeft_;
    isStruck_ = true;
    hit_.begin(clock_.now_ms());
    struckLocked(place);
  }

protected:
  virtual void expectLocked() {}
  virtual bool isMeantLocked(const FaultPlace& place) const = 0;
  virtual void struckLocked(const FaultPlace& place) = 0;
  // Of one that has struck.
  virtual bool isOverLocked() const = 0;

  const SoakClock& clock_;
  mutable std::mutex lock_;             // guards what follows; the engine is not called under it
  SoakFault kind_ = SoakFault::eKinds;  // none is expected
  Fault fault_;
  unsigned strikesLeft_ = 0;
  Spans hit_;

private:
  const std::string name_;
  bool isStruck_ = false;
};
