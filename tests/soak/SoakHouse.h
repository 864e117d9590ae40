#pragma once

#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "tests/soak/NewsLog.h"
#include "tests/support/ScratchFolder.h"

// SoakHouse: the folders of a soak, the registry of drives and the catalogue over them.
// Story      "stage" has what is played, "shelf" what is scanned again and again; recorders and
//            guests get locations of their own. Whoever looks drives up, or changes the catalogue,
//            holds the registry shared for that moment; whoever begins the registry anew has it for
//            himself: in between there are no drives.
// Threads    making and ending: one. add, remove and beginAnew: one at a time. The rest: any.
class SoakHouse {
public:
  using Text = LightweightString<wchar_t>;
  // What the catalogue knows of one file.
  struct Known {
    std::string path;
    uint64_t bytes = 0;
    bool operator==(const Known&) const = default;
  };
  using Files = std::map<std::string, Known>;  // by the texts of their cookies

  // In these folders, or in one of its own when there are none.
  explicit SoakHouse(const std::vector<std::string>& folders);
  ~SoakHouse();
  SoakHouse(const SoakHouse&) = delete;
  SoakHouse& operator=(const SoakHouse&) = delete;

  // Where everything lies that lies in the first folder.
  std::string root() const { return roots_[0]->path(); }
  // A folder with both media folders, which is no location yet; one after the other in each of the
  // folders.
  std::string makeFolder(const std::string& name);
  // A location that stays, for ever.
  std::string makeLocation(const std::string& name);
  bool add(const std::string& folder);
  bool remove(const std::string& folder);
  // The registry as at a start: the identifiers are used up by who comes and goes.
  void beginAnew();
  // '0' when it is not registered. The registry is held.
  static DriveId driveOf(const std::string& folder);
  static Text wide(const std::string& path) { return fromUTF8(std::string_view(path)); }
  // The cookie of the number-th file of that letter.
  static std::string cookieText(char letter, uint64_t number, bool isSound = false);
  // What the bytes of a file are, by the text of its cookie.
  static uint64_t seedOf(const std::string& cookie);
  // Of all entries whose cookies have that letter, those of high resolution.
  static Files knownOf(char letter);
  // What a scan of that location finds is compared with what must be there; empty when it is that.
  static std::string whyNotKnown(char letter, const Files& expected);

  // How often the listeners of the registry must have heard that the locations changed.
  uint64_t changes() const { return changes_; }

  std::shared_mutex& registry() { return registry_; }
  NewsLog& news() { return news_; }

private:
  std::vector<std::unique_ptr<ScratchFolder>> roots_;
  ScratchFolder project_;
  size_t made_ = 0;
  uint64_t changes_ = 0;
  std::shared_mutex registry_;
  NewsLog news_;
};
