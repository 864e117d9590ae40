#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/fsys/demo/DemoFile.h"

// DemoShot: the files of one shot: its picture, its sound, and the proxies of its picture.
struct DemoShot {
  DemoFile vision;
  std::vector<DemoFile> sounds;   // by channel, from 1 on
  std::vector<DemoFile> proxies;  // in the order of their names

  // The eight characters of its cookies.
  std::string name() const;
  // The picture and the sound.
  std::vector<DemoFile*> channels();
  uint64_t bytes() const;
};
