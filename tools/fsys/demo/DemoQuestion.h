#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fsys/DecodeFormat.h"
#include "tools/fsys/demo/DemoMedia.h"

// DemoQuestion: in which format a piece of media is wanted.
// Units      lines of a picture; 0: no height in particular.
struct DemoQuestion {
  eProxyLevel level = eAuto;
  uint32_t height = 0;

  // Each level at each height that makes a difference: none, that of the lowest proxy, one line
  // more than that, and one more than the highest.
  static std::vector<DemoQuestion> all(const DemoMedia& media);
  DecodeFormat format() const;
  // "auto, 145 lines".
  std::string words() const;
};
