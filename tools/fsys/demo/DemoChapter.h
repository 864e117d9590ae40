#pragma once

#include <string>

#include "tools/fsys/demo/DemoDay.h"
#include "tools/fsys/demo/DemoStep.h"

// DemoChapter: one step of the day.
// Errors     throws ToolErrors: what could not be done, or what was not as expected.
class DemoChapter {
public:
  DemoChapter(const char* name, const char* story) : name_(name), story_(story) {}
  virtual ~DemoChapter() = default;
  DemoChapter(const DemoChapter&) = delete;
  DemoChapter& operator=(const DemoChapter&) = delete;

  // In the table.
  const char* name() const { return name_; }
  // What is being done, in a sentence.
  const char* story() const { return story_; }
  virtual void run(DemoDay& day, DemoStep& step) = 0;

private:
  const char* name_;
  const char* story_;
};
