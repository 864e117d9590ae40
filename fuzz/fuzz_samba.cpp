// Samba's texts, which may be anybody's: what is served has a name and a folder, and what stands
// around a share changes nothing of it.

#include <set>

#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/linux/SambaConfig.h"

namespace {

using Share = SambaConfig::Share;

const std::string kOwn = "fuzzed";
const std::string kOwnFolder = "/fuzzed/folder";

std::string inSmallLetters(std::string text) {
  for (char& character : text)
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  return text;
}

void checkShare(const Share& share) {
  constexpr std::string_view kNever("/\\%\n\0", 5);
  require(!share.name.empty(), "a share has a name");
  require(share.name.find_first_of(kNever) == share.name.npos, "a share's name is one of UNC's");
  require(share.folder.starts_with('/'), "a share's folder is a whole path");
  require(share.folder.find('%') == share.folder.npos, "a share's folder is known");
  require(share.folder.find('\0') == share.folder.npos, "a share's folder is a path");
}

void checkConfig(const std::string& text) {
  const std::vector<Share> shares = SambaConfig(text).shares();
  std::set<std::string> names;
  for (const Share& share : shares) {
    checkShare(share);
    require(names.insert(inSmallLetters(share.name)).second, "no two shares have the same name");
  }
  require(shares.size() <= SambaConfig::kMostShares, "there are not too many shares");
  const std::string remarks = "\n\n# [" + kOwn + "]\n; path = " + kOwnFolder + "\n";
  require(SambaConfig(text + remarks).shares() == shares, "remarks serve nothing");

  // One that is not there yet, and for which there is room.
  if (inSmallLetters(text).find(kOwn) != text.npos) return;
  if (text.size() >= SambaConfig::kMostShares) return;
  std::vector<Share> expected = shares;
  expected.push_back({kOwn, kOwnFolder});
  const std::string section =
      "\n\n[" + kOwn + "]\n path = " + kOwnFolder + " \navailable = Yes\nprintable=no\n";
  require(SambaConfig(text + section).shares() == expected, "one more share changes no other");
}

void checkUserShare(const std::string& name, const std::string& text) {
  static const std::string kBegin = "#VERSION 2\n";
  require(text.starts_with("#VERSION ") || !SambaConfig::userShare(name, text),
          "a file says what it is");
  const std::optional<Share> share = SambaConfig::userShare(name, kBegin + text);
  if (share) checkShare(*share);
  require(!share || inSmallLetters(share->name) == inSmallLetters(name), "a file is of its share");
  const std::string lines = "\npath=" + kOwnFolder + "\nsharename=" + kOwn + "\n";
  require(SambaConfig::userShare(kOwn, kBegin + text + lines) == Share{kOwn, kOwnFolder},
          "the later lines count");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InputBytes input(data, size);
  const std::string name(input.text());
  const std::string text(input.rest());
  // Whatever the last line goes on in, it ends there.
  checkConfig(text + "\n-\n");
  checkUserShare(name, text);
  checkUserShare(name, "#VERSION 2\n" + text);
  return 0;
}
