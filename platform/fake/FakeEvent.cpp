#include "platform/fake/FakeEvent.h"

#include "platform/fake/FakeWorld.h"

bool FakeEvent::wait(uint32_t timeout_ms) {
  Qv::Ptr<FakeEvent> held(this);
  world_.threads().endRunIfWake(*this, timeout_ms);
  if (take()) return true;
  if (timeout_ms == 0) return false;
  double timeout = timeout_ms == kForever ? FakeWorld::kForever_ms : timeout_ms;
  return world_.waitUntil([this] { return take(); }, timeout);
}
