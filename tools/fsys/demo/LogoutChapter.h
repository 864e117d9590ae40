#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// LogoutChapter: the workstation logs out, and nothing is left of its login.
class LogoutChapter final : public DemoChapter {
public:
  LogoutChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
