#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// LinkChapter: a file of high resolution moves to the other drive, and a link takes its place.
class LinkChapter final : public DemoChapter {
public:
  LinkChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
