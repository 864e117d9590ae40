#include "bench/table/CatalogueProbe.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "bench/table/MediaTrees.h"
#include "bench/table/Statistics.h"
#include "bench/table/Trace.h"
#include "fsys/DecodeFormat.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MaterialLink.h"
#include "fsys/MediaFileInfo.h"
#include "fsys/SystemCache.h"
#include "tests/support/MountedShare.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kAlone = 1 << 20;  // look-ups while nothing is scanned
constexpr size_t kMost = 1 << 24;   // whose times are kept
constexpr unsigned long kProxyBytes = 4096;
constexpr unsigned char kProxyChannels = 2;

// A line of /proc/self/status.
double kibOf(const std::string& key) {
  std::ifstream lines("/proc/self/status");
  for (std::string word; lines >> word;)
    if (word == key + ":") {
      double value = 0;
      lines >> value;
      return value;
    }
  return 0;
}

double residentBytes() { return kibOf("VmRSS") * 1024; }
double mostResidentBytes() { return kibOf("VmHWM") * 1024; }
void forgetMostResident() { std::ofstream("/proc/self/clear_refs") << "5"; }

DecodeFormat formatOf(eProxyLevel level, unsigned height) {
  DecodeFormat format(level);
  format.setHeight(height);
  return format;
}

// What is asked for: pictures that are there with their proxies, one that a link leads to, and two
// that are not there.
struct Wanted {
  std::vector<Cookie> pictures;
  Cookie linked, brokenLink, unknown;
};

// How many of them are answered wrongly, in high resolution and as proxies.
uint64_t findAll(const Wanted& all) {
  const DecodeFormat wanted[] = {formatOf(eHighRes, 0), formatOf(eProxy, 0),
                                 formatOf(eAuto, CatalogueProbe::kProxyHeight)};
  uint64_t missed = 0;
  LightweightString<wchar_t> path;
  for (const Cookie& cookie : all.pictures)
    for (const DecodeFormat& format : wanted)
      missed += !SystemCache::findFileForCookie(cookie, path, format) || path.empty();
  for (const DecodeFormat& format : wanted) {
    missed += !SystemCache::findFileForCookie(all.linked, path, format);
    missed += SystemCache::findFileForCookie(all.brokenLink, path, format);
    missed += SystemCache::findFileForCookie(all.unknown, path, format);
  }
  return missed;
}

std::vector<Cookie> picturesOf(const MediaTrees& trees, MediaTrees::eTree tree, size_t most) {
  std::vector<Cookie> pictures;
  for (const Cookie& cookie : trees.cookies(tree))
    if (cookie.getType() == eCookieVision && pictures.size() < most) pictures.push_back(cookie);
  return pictures;
}

// The pictures of the smallest tree, and beside its media the links.
Wanted wantedOf(const MediaTrees& trees) {
  const Cookie beyond = MediaTrees::cookie(trees.files(MediaTrees::eLarge));
  auto channel = [&beyond](uint8_t number) { return convertCookie(beyond, eCookieVision, number); };
  return {picturesOf(trees, MediaTrees::eSmall, CatalogueProbe::kFinds), channel(0), channel(1),
          channel(2)};
}

void addLink(const Cookie& cookie, const MaterialFilename& folder,
             const LightweightString<wchar_t>& target) {
  const MaterialFilename link(folder.getDrive(), L"/" + cookie.asWString() + L".mov");
  if (MaterialLink::createLink(link.getOsPath(), target, true) != 1)
    throw std::runtime_error("cannot make a link");
  SystemCache::addFile(cookie, MediaFileInfo(link, MaterialLink::kBytes), false);
}

// Each gets one, with so many sound channels; no such file need be there.
void addProxies(const std::vector<Cookie>& pictures, const MaterialFilename& folder,
                unsigned char soundChannels) {
  for (const Cookie& cookie : pictures) {
    const auto name = MediaFileInfo::makeProxyName(cookie.asWString() + L".mov", L"mov",
                                                   CatalogueProbe::kProxyHeight, soundChannels);
    const MaterialFilename proxy(folder.getDrive(), folder.getPath() + name);
    SystemCache::addFile(cookie, MediaFileInfo(proxy, kProxyBytes), false);
  }
}

// Looks up until it is over; the times of the look-ups.
template <typename IsOver>
std::vector<double> timesOf(const std::vector<Cookie>& cookies, const IsOver& isOver) {
  std::vector<double> times_us;
  times_us.reserve(kMost);
  for (size_t i = 0; !isOver(times_us.size()) && times_us.size() < kMost; ++i) {
    const auto start = Clock::now();
    const bool found = bool(SystemCache::findEntryForCookie(cookies[i % cookies.size()]));
    times_us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    if (!found) throw std::runtime_error("an entry is missing");
  }
  return times_us;
}

// A registered drive with media that takes its time; files() are those that the trees lack.
class SlowDrive {
public:
  SlowDrive(const std::string& volume, uint64_t firstFile)
      : share_(volume), first_(firstFile), path_(volume) {
    if (!whyNot().empty()) return;
    const std::string folder = volume + "/Material";
    if (mkdir(folder.c_str(), 0700) != 0) throw std::runtime_error("cannot make " + folder);
    MediaTrees::make(folder, first_, first_ + CatalogueProbe::kSlowFiles, MediaTrees::kFileBytes);
    if (!DiskManager::addMaterialVolume(fromUTF8(std::string_view(path_)), id_, false))
      throw std::runtime_error("cannot register " + path_);
    share_.answerSlowly();
  }

  const std::string& whyNot() const { return share_.whyNot(); }
  void scan() const { SystemCache::addDirectory({id_, L"/Material/"}); }
  bool isScanned() const {
    for (uint64_t i = 0; i < CatalogueProbe::kSlowFiles; ++i)
      if (!SystemCache::fileExists(MediaTrees::cookie(first_ + i))) return false;
    return true;
  }

private:
  MountedShare share_;
  uint64_t first_;
  std::string path_;
  DriveId id_;
};

int printAmongSlow(const SlowDrive& drive, const std::vector<Cookie>& cookies) {
  const auto alone_us = timesOf(cookies, [](size_t done) { return done == kAlone; });
  std::atomic<bool> isOver{false};
  std::chrono::duration<double> passed{};
  std::jthread scanner([&] {
    const auto start = Clock::now();
    drive.scan();
    passed = Clock::now() - start;
    isOver = true;
  });
  const auto times_us = timesOf(cookies, [&](size_t) { return isOver.load(); });
  scanner.join();
  if (!drive.isScanned()) return 1;
  std::printf("alone_us=%.3f\np99_us=%.3f\nslowest_us=%.1f\nlookups=%zu\nscan_s=%.3f\n",
              Statistics::quantile(alone_us, 0.99), Statistics::quantile(times_us, 0.99),
              *std::max_element(times_us.begin(), times_us.end()), times_us.size(), passed.count());
  return 0;
}

}  // namespace

int CatalogueProbe::scan(const std::string& folder, uint64_t most) {
  const MediaTrees trees(folder, most);
  const MaterialFilename media = trees.folder(MediaTrees::eMiddle);
  Trace::mark();
  SystemCache::addDirectory(media);
  Trace::mark();
  return 0;
}

int CatalogueProbe::find(const std::string& folder, uint64_t most) {
  const MediaTrees trees(folder, most);
  const MaterialFilename media = trees.folder(MediaTrees::eSmall);
  SystemCache::addDirectory(media);
  const Wanted wanted = wantedOf(trees);
  addProxies(wanted.pictures, media, 0);
  addLink(wanted.linked, media, SystemCache::find(wanted.pictures.front()).getOsPath());
  addLink(wanted.brokenLink, media, L"/nowhere/a.mov");
  uint64_t missed = findAll(wanted);
  Trace::mark();
  missed += findAll(wanted);
  Trace::mark();
  return missed == 0 ? 0 : 1;
}

// What a scan takes for the first time only is taken before, by a small one.
int CatalogueProbe::memory(const std::string& folder, uint64_t most) {
  const MediaTrees trees(folder, most);
  const MaterialFilename media = trees.folder(MediaTrees::eLarge);
  SystemCache::addDirectory(trees.folder(MediaTrees::eSmall));
  SystemCache::invalidate();
  const double start = residentBytes();
  forgetMostResident();
  SystemCache::addDirectory(media);
  const auto files = static_cast<double>(trees.files(MediaTrees::eLarge));
  const double bytes = residentBytes() - start;
  const double most_bytes = mostResidentBytes() - start;
  const auto pictures = picturesOf(trees, MediaTrees::eLarge, trees.files(MediaTrees::eLarge));
  const double before = residentBytes();
  addProxies(pictures, media, kProxyChannels);
  const double proxies_bytes = residentBytes() - before;
  std::printf("bytes_a_file=%.1f most_a_file=%.1f with_proxies=%.1f\n", bytes / files,
              most_bytes / files,
              (bytes + proxies_bytes) / (files + static_cast<double>(pictures.size())));
  return 0;
}

int CatalogueProbe::amongSlow(const std::string& folder, uint64_t most, const std::string& volume) {
  const MediaTrees trees(folder, most);
  const SlowDrive drive(volume, most);
  if (!drive.whyNot().empty()) {
    std::printf("p99_us: %s\n", drive.whyNot().c_str());
    return 0;
  }
  SystemCache::addDirectory(trees.folder(MediaTrees::eLarge));
  return printAmongSlow(drive, trees.cookies(MediaTrees::eLarge));
}
