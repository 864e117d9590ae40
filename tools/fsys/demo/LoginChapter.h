#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// LoginChapter: the workstation logs in to shared media, and others see it.
class LoginChapter final : public DemoChapter {
public:
  LoginChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
