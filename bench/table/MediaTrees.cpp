#include "bench/table/MediaTrees.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <random>
#include <stdexcept>

#include "bench/table/Descriptor.h"
#include "bench/table/Interrupted.h"

namespace {

constexpr uint64_t kShots = uint64_t{1} << 41;        // fewer than eight characters can tell
constexpr uint64_t kScatter = 0x9E3779B97F4A7C15ull;  // odd: no two numbers give one shot
constexpr uint64_t kEach = 10;                        // a tree's files over those of the one before

[[noreturn]] void failure(const std::string& path) {
  throw std::runtime_error("cannot make " + path + ": " + std::strerror(errno));
}

// Eleven characters.
std::string textOf(uint64_t number) {
  constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  uint64_t shot = number / 2 * kScatter % kShots;
  std::string text = number % 2 == 0 ? "V" : "S";
  for (size_t i = 0; i < Cookie::kShotLength; ++i, shot /= kDigits.size())
    text += kDigits[shot % kDigits.size()];
  return text + (number % 2 == 0 ? "00" : "01");
}

std::string nameOf(uint64_t number) { return textOf(number) + (number % 2 == 0 ? ".mov" : ".wav"); }

}  // namespace

uint64_t MediaTrees::filesIn(eTree tree, uint64_t most) {
  for (unsigned i = tree; i < eLarge; ++i) most /= kEach;
  return most;
}

std::string MediaTrees::path(eTree tree) const {
  const std::string folder =
      toUTF8(drives_.drives()[tree].location).c_str() + std::string("Material");
  if (mkdir(folder.c_str(), 0700) == 0) {
    make(folder, 0, files(tree), kFileBytes);
    sync();  // what is to be written yet cannot be dropped from the caches
  } else if (errno != EEXIST) {
    failure(folder);
  }
  return folder;
}

MaterialFilename MediaTrees::folder(eTree tree) const {
  path(tree);
  return {drives_.drives()[tree].id, L"/Material/"};
}

Cookie MediaTrees::cookie(uint64_t number) {
  return Cookie(fromUTF8(std::string_view(textOf(number))));
}

std::vector<Cookie> MediaTrees::cookies(eTree tree) const {
  std::vector<Cookie> all;
  for (uint64_t i = 0; i < files(tree); ++i) all.push_back(cookie(i));
  std::shuffle(all.begin(), all.end(), std::mt19937_64(1));
  return all;
}

void MediaTrees::make(const std::string& folder, uint64_t from, uint64_t to, uint64_t bytes) {
  const Descriptor place(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!place.isOpen()) failure(folder);
  for (uint64_t i = from; i < to; ++i) {
    const std::string name = nameOf(i);
    const Descriptor file(
        openat(place.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen() || ftruncate(file.get(), static_cast<off_t>(bytes)) != 0)
      failure(folder + "/" + name);
    Interrupted::check();
  }
}
