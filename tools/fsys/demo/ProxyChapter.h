#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// ProxyChapter: what was recorded gets proxies of two sizes, on the other drive.
class ProxyChapter final : public DemoChapter {
public:
  ProxyChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
