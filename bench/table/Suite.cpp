#include "bench/table/Suite.h"

#include <utility>

#include "bench/table/RingSide.h"

namespace {

constexpr uint64_t kMib = 1 << 20;
constexpr unsigned kEight = 8;

}  // namespace

Suite::Suite(const Options& options) : options_(options), scratch_(options.folder) {
  uint64_t bytes = options_.readMib * kMib;
  one_ = scratch_.make("one", bytes, 0);
  for (unsigned i = 0; i < kEight; ++i)
    eight_.push_back(scratch_.make("eight" + std::to_string(i), bytes / kEight, i + 1));
}

bool Suite::isDirect() const { return RingSide::isDirect(one_.path); }

bool Suite::wanted(const std::string& what) const {
  return what.find(options_.only) != std::string::npos;
}

void Suite::run() {
  reads();
  writes();
  trips();
  storage();
  catalogue();
}

Row& Suite::add(const std::string& name, Row::eKind kind, Contest& contest) {
  Row row;
  row.name = name;
  row.kind = kind;
  row.sides = contest.hold();
  wrong_ += contest.wrong();
  rows_.push_back(std::move(row));
  return rows_.back();
}

Row& Suite::addCounted(const std::string& name) {
  rows_.push_back({name, Row::eCounted, {}, {}});
  return rows_.back();
}
