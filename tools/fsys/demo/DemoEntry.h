#pragma once

#include <string>
#include <vector>

#include "tools/fsys/demo/DemoDay.h"
#include "tools/fsys/demo/DemoQuestion.h"

// DemoEntry: what the catalogue ought to know of one cookie.
struct DemoEntry {
  Cookie cookie;
  const DemoFile* highRes = nullptr;     // null: there is none, or it is away
  std::vector<const DemoFile*> proxies;  // in their order

  // Of each cookie of the day. `away`: a drive whose files are not there, or null.
  static std::vector<DemoEntry> all(DemoDay& day, const DemoDrive* away = nullptr);
  // The file that ought to serve; null: none.
  const DemoFile* answerTo(const DemoQuestion& question) const;
  // Its files, as wordsFound puts them.
  std::string words() const;
  // What the catalogue has: each entry in words, in the order of the cookies.
  static std::vector<std::string> wordsFound();
};
