#include "bench/table/LookUps.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "bench/table/CountingOs.h"
#include "bench/table/ManyDrives.h"
#include "bench/table/Statistics.h"

namespace {

using Clock = std::chrono::steady_clock;
using Drive = ManyDrives::Drive;

constexpr unsigned kRounds = 101;

// Whether the drive was found by that key; `index` is its place.
using LookUp = bool (*)(const Drive& drive, unsigned short index);

bool byCode(const Drive& drive, unsigned short) { return bool(DiskManager::getVolume(drive.id)); }
bool byName(const Drive& drive, unsigned short) {
  return DiskManager::getDriveWithName(drive.name) == drive.id;
}
bool byPath(const Drive& drive, unsigned short) {
  return DiskManager::getDriveWithPath(drive.path) == drive.id;
}
bool byLocation(const Drive& drive, unsigned short) {
  return bool(DiskManager::getVolume(drive.location));
}
bool byIndex(const Drive& drive, unsigned short index) {
  return DiskManager::get_drive(index) == drive.id;
}

// In the order of LookUps::kKeys.
constexpr std::array<LookUp, LookUps::kKeys.size()> kLookUps = {&byCode, &byName, &byPath,
                                                                &byLocation, &byIndex};

// Every drive once; how many were not found.
template <typename Around>
unsigned lookForAll(const ManyDrives& many, LookUp lookUp, const Around& around) {
  unsigned missed = 0;
  for (unsigned short i = 0; i < many.drives().size(); ++i) {
    const Drive& drive = many.drives()[i];
    around(i, [&] { missed += !lookUp(drive, i); });
  }
  return missed;
}

}  // namespace

// One after the other, as different askers come: nobody finds what the last one has left.
int LookUps::printTimes(const std::string& folder) {
  ManyDrives many(folder);
  unsigned missed = 0;
  for (size_t key = 0; key < kKeys.size(); ++key) {
    std::vector<std::vector<double>> times_us(many.drives().size());
    for (unsigned round = 0; round < kRounds; ++round)
      missed += lookForAll(many, kLookUps[key], [&](size_t drive, const auto& look) {
        const auto start = Clock::now();
        look();
        const std::chrono::duration<double, std::micro> passed = Clock::now() - start;
        times_us[drive].push_back(passed.count());
      });
    std::vector<double> medians;
    for (const std::vector<double>& of : times_us) medians.push_back(Statistics::median(of));
    std::printf("%s_us=%.4f %s_slowest_us=%.4f ", kKeys[key], Statistics::median(medians),
                kKeys[key], *std::max_element(medians.begin(), medians.end()));
  }
  std::printf("\n");
  return missed == 0 ? 0 : 1;
}

int LookUps::printAllocations(const std::string& folder) {
  ManyDrives many(folder);
  unsigned missed = 0;
  for (size_t key = 0; key < kKeys.size(); ++key) {
    const uint64_t before = CountingOs::onThisThread();
    missed += lookForAll(many, kLookUps[key], [](size_t, const auto& look) { look(); });
    const auto asked = static_cast<double>(CountingOs::onThisThread() - before);
    std::printf("%s_a=%.4f ", kKeys[key], asked / static_cast<double>(many.drives().size()));
  }
  std::printf("\n");
  return missed == 0 ? 0 : 1;
}
