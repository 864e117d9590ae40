// Whole scans: whatever the files of the media folders are called, the catalogue has what a second
// cataloguer, here, makes of the same names.

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/ProxyName.h"
#include "fsys/SystemCache.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;
using Folder = std::map<std::wstring, size_t>;  // sizes by name, in the order of a listing

constexpr unsigned kMostFiles = 24;
constexpr unsigned kMostPieces = 8;
constexpr uint32_t kMostChannels = 255;
constexpr size_t kSizes[] = {1000, 1000, 512, 513, 1, 0};
constexpr std::array<std::wstring_view, 10> kEndings{L".partial", L".qvix",    L".qaix", L".qvix2",
                                                     L".qaix2",   L".vix",     L".aix",  L".vix2",
                                                     L".aix2",    L".reapeaks"};
// Of which names are put together; the first ends one.
constexpr std::array<std::string_view, 20> kPieces{"",
                                                   "V4K7Q2M9A00",
                                                   "v4k7q2m9a00",
                                                   "S4K7Q2M9A01",
                                                   "V4K7Q2M9A01",
                                                   "s4k7q2m9aff",
                                                   ".mov",
                                                   ".A2",
                                                   ".A",
                                                   ".A-1",
                                                   ".proxy.360",
                                                   ".proxy.-1",
                                                   ".proxy.",
                                                   "720",
                                                   "18446744073709551616",
                                                   "proxy",
                                                   ".vix",
                                                   ".VIX",
                                                   ".partial",
                                                   "."};

// One entry as it should be: the paths of its files.
struct Entry {
  std::wstring highRes;
  size_t bytes = 0;
  std::vector<std::wstring> proxies;

  void addProxy(const std::wstring& path) {
    if (std::find(proxies.begin(), proxies.end(), path) == proxies.end()) proxies.push_back(path);
  }
  // A link never takes the place of media, and what is displaced is kept if there are no proxies.
  void addHighRes(const std::wstring& path, size_t size) {
    if (bytes > 512 && size == 512) return;
    if (!highRes.empty() && proxies.empty()) proxies.push_back(highRes);
    highRes = path;
    bytes = size;
  }
};

// The text of the cookie before the first dot, in capitals; empty when there is none.
std::wstring cookieIn(const std::wstring& name) {
  std::wstring text = name.substr(0, name.find(L'.'));
  if (text.size() != 11) return {};
  for (wchar_t& character : text)
    if (character >= L'a' && character <= L'z') character -= L'a' - L'A';
  auto hasOnly = [](std::wstring_view part, std::wstring_view characters) {
    return part.find_first_not_of(characters) == part.npos;
  };
  const bool isCookie = hasOnly(text.substr(0, 1), L"VS") &&
                        hasOnly(text.substr(1, 8), L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") &&
                        hasOnly(text.substr(9), L"0123456789ABCDEF");
  return isCookie ? text : L"";
}

std::wstring soundOf(const std::wstring& cookie, uint32_t channel) {
  constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
  return L"S" + cookie.substr(1, 8) + kDigits[channel / 16] + kDigits[channel % 16];
}

// The second cataloguer.
struct Model {
  std::map<std::wstring, Entry> entries;  // by the cookies' texts
  ScanTally tally;

  void scan(const std::wstring& folder, const Folder& files) {
    ++tally.folders;
    for (const auto& [name, bytes] : files) addFile(folder + name, name, bytes);
  }
  void addFile(const std::wstring& path, const std::wstring& name, size_t bytes) {
    auto ends = [&name](std::wstring_view ending) { return name.ends_with(ending); };
    ++tally.seen;
    if (bytes == 0) {
      ++tally.empty;
    } else if (std::any_of(kEndings.begin(), kEndings.end(), ends)) {
      ++tally.ineligible;
    } else if (const std::wstring cookie = cookieIn(name); cookie.empty()) {
      ++tally.notCookies;
    } else {
      ++(entries.contains(cookie) ? tally.augmented : tally.added);
      catalogue(cookie, path, bytes);
    }
  }
  void catalogue(const std::wstring& cookie, const std::wstring& path, size_t bytes) {
    Entry& entry = entries[cookie];
    if (ProxyName::height(path) == ProxyName::kNoHeight) return entry.addHighRes(path, bytes);
    entry.addProxy(path);
    const uint32_t channels = std::min(ProxyName::audioChannels(path), kMostChannels);
    for (uint32_t k = 1; k <= channels; ++k) entries[soundOf(cookie, k)].addProxy(path);
  }
};

std::wstring anyName(InputBytes& input) {
  std::string bytes;
  for (unsigned i = 0; i < kMostPieces; ++i) {
    const uint32_t piece = input.below(kPieces.size() + 2);
    if (piece == 0) break;
    bytes += piece < kPieces.size() ? kPieces[piece] : input.text();
  }
  const Text name = fromUTF8(std::string_view(bytes));
  const bool isName = toPathBytes(name, bytes) && !bytes.empty() && bytes != "." && bytes != ".." &&
                      bytes.find('/') == bytes.npos;
  return isName ? std::wstring(name.view()) : L"notes.txt";
}

Folder anyFolder(FakeFileManager& files, const Text& path, InputBytes& input) {
  Folder folder;
  const uint32_t count = input.below(kMostFiles);
  files.addFolder(path);
  for (uint32_t i = 0; i < count; ++i) {
    const size_t bytes = kSizes[input.below(std::size(kSizes))];
    const std::wstring name = anyName(input);
    files.addFile(path + name.c_str(), std::vector<unsigned char>(bytes, 'm'));
    folder[name] = bytes;
  }
  return folder;
}

std::wstring pathOf(const MaterialFilename& name) { return std::wstring(name.getPath().view()); }

void checkEntry(const Cookie& cookie, const FsysDirectoryEntry& entry, const Entry& expected) {
  const std::vector<std::wstring>& proxies = expected.proxies;
  const bool hasHighRes = !expected.highRes.empty();
  require(entry.hasHighRes() == hasHighRes, "an entry has the file of high resolution, or none");
  require(entry.fileSize() == expected.bytes, "and its size");
  const std::wstring first = hasHighRes ? expected.highRes : proxies.front();
  require(pathOf(SystemCache::find(cookie)) == first, "that is found, or else the first proxy");
  std::list<MediaFileInfo> found;
  require(SystemCache::getProxyFiles(cookie, found), "an entry that is walked past is found");
  require(std::equal(found.begin(), found.end(), proxies.begin(), proxies.end(),
                     [](const MediaFileInfo& file, const std::wstring& path) {
                       return pathOf(file.getMaterialFilename()) == path;
                     }),
          "an entry has the proxies of its cookie, in their order");
}

void checkEntries(const Model& model) {
  size_t seen = 0;
  SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry& entry) {
    const auto expected = model.entries.find(std::wstring(cookie.asWString().view()));
    require(expected != model.entries.end(), "an entry is of one of the names");
    checkEntry(cookie, entry, expected->second);
    ++seen;
    return true;
  });
  require(seen == model.entries.size(), "every name that is media's has its entry");
}

void checkTally(const ScanTally& expected) {
  const ScanTally tally = SystemCache::getScanTally();
  require(tally.folders == expected.folders && tally.seen == expected.seen, "every file is seen");
  require(tally.added == expected.added && tally.augmented == expected.augmented,
          "the first of an entry is told from the others");
  require(tally.empty == expected.empty && tally.ineligible == expected.ineligible &&
              tally.notCookies == expected.notCookies,
          "what is passed over is so for the first reason");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  const Folder material = anyFolder(os->files(), L"/m/Material/", input);
  const Folder sound = anyFolder(os->files(), L"/m/Sound/", input);
  DiskManager::init(L"/p", true);
  DriveId id;
  require(DiskManager::addMaterialVolume(L"/m/", id, false), "the drive can be registered");
  Model model;
  model.scan(L"/Material/", material);
  model.scan(L"/Sound/", sound);
  SystemCache::invalidate();
  SystemCache::addMediaLocation(id);
  checkTally(model.tally);
  checkEntries(model);
  SystemCache::removeMediaLocation(id);
  std::erase_if(model.entries, [](const auto& entry) { return !entry.second.highRes.empty(); });
  checkEntries(model);
  SystemCache::invalidate();
  DiskManager::deInit();
  return 0;
}
