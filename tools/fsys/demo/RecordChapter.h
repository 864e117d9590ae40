#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// RecordChapter: two shots are recorded while four play, each with its picture and its sound.
// Story      The last of the four is scrubbed. What was recorded is compared by plain reads, and
//            gets what an editor puts beside media: an index, and peaks.
class RecordChapter final : public DemoChapter {
public:
  RecordChapter();
  void run(DemoDay& day, DemoStep& step) override;

private:
  static void addPlayed(DemoDay& day, DemoStep& step);
  static void addRecorded(DemoDay& day);
  static void keep(DemoDay& day, DemoStep& step);
};
