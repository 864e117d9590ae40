#include "tests/sim/WriteStream.h"

#include <algorithm>
#include <cstring>

namespace {

std::string range(uint64_t offset, uint64_t bytes) {
  return std::to_string(bytes) + " bytes at " + std::to_string(offset);
}

}  // namespace

void WriteStream::append(const unsigned char* bytes, uint32_t count) {
  bytes_.insert(bytes_.end(), bytes, bytes + count);
  fates_.resize(bytes_.size(), eGiven);
}

void WriteStream::takeBack(uint32_t count) {
  bytes_.resize(bytes_.size() - count);
  fates_.resize(bytes_.size());
}

std::string WriteStream::whyNotMoved(uint64_t offset, const unsigned char* buffer, uint32_t bytes,
                                     uint32_t done, bool failed) {
  if (offset < base_ || offset + bytes > end())
    return "bytes were written that nobody gave: " + range(offset, bytes);
  if (std::memcmp(at(offset), buffer, bytes) != 0)
    return "other bytes were written than belong there: " + range(offset, bytes);
  size_t first = offset - base_;
  for (size_t i = first; i < first + bytes; ++i) {
    bool written = !failed && i - first < done;
    if (written && fates_[i] == eWritten) return "written twice: " + range(base_ + i, 1);
    if (written)
      fates_[i] = eWritten;
    else if (fates_[i] == eGiven)
      fates_[i] = eExcused;
  }
  return "";
}

bool WriteStream::excuse(uint64_t offset, uint64_t bytes) {
  bool any = false;
  uint64_t last = std::min(offset + bytes, end());
  for (uint64_t i = std::max(offset, base_); i < last; ++i) {
    if (fates_[i - base_] != eGiven) continue;
    fates_[i - base_] = eExcused;
    any = true;
  }
  return any;
}

std::string WriteStream::whyNotComplete() const {
  auto missing = std::find(fates_.begin(), fates_.end(), eGiven);
  if (missing == fates_.end()) return "";
  auto next = std::find_if(missing, fates_.end(), [](unsigned char f) { return f != eGiven; });
  return "accepted bytes were never written and nobody was told: " +
         range(base_ + static_cast<uint64_t>(missing - fates_.begin()),
               static_cast<uint64_t>(next - missing));
}
