#include "tools/fsys/demo/DemoQuestion.h"

#include <algorithm>

#include "tools/fsys/Text.h"

std::vector<DemoQuestion> DemoQuestion::all(const DemoMedia& media) {
  std::vector<uint32_t> heights;
  for (const DemoShot& shot : media.recorded)
    for (const DemoFile& proxy : shot.proxies) heights.push_back(proxy.height);
  auto [lowest, highest] = std::minmax_element(heights.begin(), heights.end());
  std::vector<DemoQuestion> questions;
  for (eProxyLevel level : {eAuto, eHighRes, eProxy})
    for (uint32_t height : {0u, *lowest, *lowest + 1, *highest + 1})
      questions.push_back({level, height});
  return questions;
}

DecodeFormat DemoQuestion::format() const {
  DecodeFormat format(level);
  format.setHeight(height);
  return format;
}

std::string DemoQuestion::words() const {
  const char* name = level == eAuto ? "auto" : level == eHighRes ? "high" : "proxy";
  return height == 0 ? name : text("%s, %u lines", name, height);
}
