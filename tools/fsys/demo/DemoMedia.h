#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/fsys/demo/DemoShot.h"

// DemoMedia: the shots that the day is made of, as they lie in one folder.
// Story      A shot has a picture and four channels of sound, called after their cookies. Those
//            that come with proxies are recorded; the others were there before. Files that have no
//            cookie for a name are not looked at.
// Errors     throws when there are too few shots, and when one is not complete.
class DemoMedia {
public:
  static constexpr size_t kOlder = 4;
  static constexpr size_t kRecorded = 2;
  static constexpr size_t kSounds = 4;
  static constexpr size_t kProxies = 2;

  explicit DemoMedia(const std::string& folder);
  DemoMedia(const DemoMedia&) = delete;
  DemoMedia& operator=(const DemoMedia&) = delete;

  // In the order of their cookies. They stay where they are.
  std::vector<DemoShot> older;
  std::vector<DemoShot> recorded;

  std::vector<DemoShot*> shots();
  // Of the pictures and the sound, with the proxies.
  std::vector<DemoFile*> files();

private:
  using Shots = std::map<Cookie, DemoShot>;
  static Shots shotsIn(const std::string& folder);
  void take(const std::string& folder, DemoShot& shot);
};
