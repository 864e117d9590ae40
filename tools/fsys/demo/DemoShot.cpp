#include "tools/fsys/demo/DemoShot.h"

#include "tools/fsys/CookieWord.h"

std::string DemoShot::name() const { return textOf(vision.cookie).substr(1, Cookie::kShotLength); }

std::vector<DemoFile*> DemoShot::channels() {
  std::vector<DemoFile*> files = {&vision};
  for (DemoFile& sound : sounds) files.push_back(&sound);
  return files;
}

uint64_t DemoShot::bytes() const {
  uint64_t sum = vision.bytes;
  for (const DemoFile& sound : sounds) sum += sound.bytes;
  return sum;
}
