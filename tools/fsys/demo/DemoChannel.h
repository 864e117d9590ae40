#pragma once

#include <cstdint>

#include "tools/fsys/demo/DemoFigures.h"

// DemoChannel: one file of a shot that is played or recorded, picture by picture.
// Threads    prepare: the main thread; then one thread at a time.
// Errors     throws ToolErrors.
class DemoChannel {
public:
  virtual ~DemoChannel() = default;

  // What can be done ahead of the first turn.
  virtual void prepare() = 0;
  // Does what belongs to a picture, whose turn is now. False: it was late.
  virtual bool take(uint64_t turn, double turn_ms) = 0;
  // Behind the last turn. Then the figures are there.
  virtual void finish() = 0;

  // Pictures and late ones are counted by the shot.
  const DemoFigures& figures() const { return figures_; }

protected:
  DemoChannel() = default;
  DemoChannel(const DemoChannel&) = delete;
  DemoChannel& operator=(const DemoChannel&) = delete;

  DemoFigures figures_;
};
