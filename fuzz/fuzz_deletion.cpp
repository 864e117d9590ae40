// Deleting a media file: whatever its name is and whatever stands in it, nothing goes but the file,
// what lies beside it under its name, and one folder below its own into which it leads as a link.

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/fake/FakeOSScope.h"
#include "platform/fake/FakePath.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;
using Paths = std::set<std::wstring>;

const std::wstring kFolder = L"/m/Material/";
const std::wstring kDoor = L"/m/Material/door";  // a symbolic link
constexpr std::array kCanaries{
    L"/m/Material/other.mov",     L"/m/Material/a.movie",
    L"/m/Material/a.mov-1.x",     L"/m/Material/own/x.mov",
    L"/m/Material/own/deep/y",    L"/m/Material/owner/x.mov",
    L"/m/Material/a.mov.x/x.mov", L"/m/Materials/own/x.mov",
    L"/m/Material.old/own/x.mov", L"/m/Mat/x.mov",
    L"/m/Sound/a.mov.x",          L"/m/x.mov",
    L"/n/Material/own/x.mov",     L"/M/MATERIAL/own/x.mov",
    L"/M/Material/own/x.mov",     L"/x.mov",
    L"Material/own/x.mov",        L"own/x.mov",
};
// Of which a target is put together.
constexpr std::array<std::string_view, 16> kPieces{
    "/m/Material/", "/m/MATERIAL/", "/m/",   "/n/Material/", "own/", "deep/",
    "new/",         "door/",        "../",   "./",           "/",    "\\\\me\\media\\",
    "own\\",        "..\\",         "x.mov", "Material/"};

Text textOf(const std::wstring& text) { return Text(std::wstring_view(text)); }

// What the fuzzer sets up.
struct Play {
  Text path;            // of the file that is deleted
  std::string content;  // its own
  std::string target;   // what it says, should it be a link
  bool isPut;           // there is something where that leads
};

// The last part of a path.
std::wstring anyName(InputBytes& input) {
  const std::wstring name(fromUTF8(input.text()).view());
  std::string bytes;
  const bool isName = toPathBytes(textOf(name), bytes) && !name.empty() &&
                      name.find(L'/') == name.npos && name != L"." && name != L"..";
  return isName ? name : L"a.mov";
}

std::string anyTarget(InputBytes& input) {
  std::string target;
  while (!input.empty() && target.size() < MaterialLink::kBytes) {
    const uint32_t piece = input.below(kPieces.size() + 2);
    target += piece < kPieces.size() ? kPieces[piece] : input.text();
  }
  return target;
}

Play anyPlay(InputBytes& input) {
  constexpr size_t kSizes[] = {MaterialLink::kBytes, MaterialLink::kBytes, MaterialLink::kBytes - 1,
                               MaterialLink::kBytes + 1};
  Play play;
  const size_t bytes = kSizes[input.below(std::size(kSizes))];
  play.isPut = input.flag();
  play.path = textOf(kFolder + anyName(input));
  play.content = anyTarget(input);
  play.target = play.content.substr(0, play.content.find('\0'));
  play.content.resize(bytes);
  return play;
}

bool isLink(const Play& play) {
  return play.content.size() == MaterialLink::kBytes && !play.content.starts_with("RIFF") &&
         play.target.size() < MaterialLink::kBytes - 1;
}

// Where nothing can be.
bool isBelowAFile(FakeFileManager& files, const Text& path) {
  const auto& all = files.names().files;
  return std::any_of(all.begin(), all.end(), [&path](const auto& file) {
    return FakePath::isWithin(path.view(), file.first, L'/');
  });
}

void arrange(FakeFileManager& files, const Play& play) {
  Vector<iFileManager::Share> shares;  // asked for once in the process
  shares.add({L"\\\\me\\media", L"/m/"});
  files.setShares(shares);
  for (const wchar_t* canary : kCanaries) files.addFile(canary);
  files.addLink(textOf(kDoor), L"/n/Material/own");
  files.addFile(play.path + L".qvix");
  files.addFile(play.path + L".");
  Lines::put(files, play.path, play.content);
  const Text local = MaterialLink::localTarget(fromUTF8(play.target));
  std::string bytes;
  if (play.isPut && toPathBytes(local, bytes) && !local.empty() && !isBelowAFile(files, local) &&
      !files.exists(local))
    files.addFile(local);
}

Paths pathsIn(FakeFileManager& files) {
  Paths paths;
  for (const auto& [path, content] : files.names().files) paths.insert(path);
  for (const auto& [path, target] : files.names().links) paths.insert(path);
  return paths;
}

// The folder that is above the target's last part, which '..' may be, with a separator at its end.
std::wstring folderAbove(const std::wstring& target) {
  std::vector<std::wstring> parts;
  for (size_t at = 0; at < target.size();) {
    const size_t end = std::min(target.find(L'/', at), target.size());
    const std::wstring part = target.substr(at, end - at);
    at = end + 1;
    if (part == L".." && !parts.empty()) parts.pop_back();
    if (!part.empty() && part != L"." && part != L"..") parts.push_back(part);
  }
  std::wstring folder = L"/";
  for (size_t i = 0; i + 1 < parts.size(); ++i) folder += parts[i] + L"/";
  return folder;
}

// The folder that may go, and must; empty when there is none.
std::wstring doomedFolder(FakeFileManager& files, const Play& play) {
  const Text local = MaterialLink::localTarget(fromUTF8(play.target));
  if (!isLink(play) || !files.exists(local) || !local.view().starts_with(L'/')) return {};
  const std::wstring folder = folderAbove(std::wstring(local.view()));
  const bool isBelow = folder.size() > kFolder.size() && folder.starts_with(kFolder);
  const bool isThere = isBelow && !folder.starts_with(kDoor + L"/") &&
                       files.folderExists(textOf(folder)) && !files.hasFile(textOf(folder));
  return isThere ? folder : L"";
}

bool isSideFile(const std::wstring& path, const std::wstring& file) {
  return path.starts_with(file + L".") && path.find(L'/', file.size()) == path.npos;
}

void check(FakeFileManager& files, const Play& play) {
  const Paths before = pathsIn(files);
  const std::wstring file(play.path.view());
  const std::wstring doomed = doomedFolder(files, play);
  FsysDirectoryEntry entry;
  require(entry.deleteFile(MaterialFilename(DriveId(), play.path)) == 1, "the file is deleted");
  const Paths after = pathsIn(files);
  require(std::includes(before.begin(), before.end(), after.begin(), after.end()),
          "nothing comes of a deletion");
  for (const std::wstring& path : before) {
    const bool isDoomed = !doomed.empty() && path.starts_with(doomed);
    const bool goes = path == file || isSideFile(path, file) || isDoomed;
    require(goes || after.contains(path), "what is neither it nor below it stays");
    require(!goes || !after.contains(path), "what is its goes with it");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  const Play play = anyPlay(input);
  arrange(os->files(), play);
  check(os->files(), play);
  return 0;
}
