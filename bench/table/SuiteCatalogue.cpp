// The suite's rows of the catalogue.

#include <algorithm>

#include "bench/table/CatalogueProbe.h"
#include "bench/table/CatalogueSides.h"
#include "bench/table/Figures.h"
#include "bench/table/Judge.h"
#include "bench/table/Suite.h"
#include "fsys/SystemCache.h"

namespace {

constexpr double kMostOverAsking = 1.5;
constexpr double kMostOverAskingDisk = 1;
constexpr double kMostGrowth = 1.5;
constexpr unsigned kDiskRounds = 3;  // of them each takes seconds
constexpr double kMostCalls = 1;
constexpr double kMostOtherCalls = 0.01;
constexpr double kMostBytes = 450;
constexpr double kLeastLookUps = 1.5;  // millions a second
constexpr double kLeastOfBoth = 1;
constexpr double kMostEnumerating_ms = 150;
constexpr double kMostAmongSlow_us = 5;
constexpr const char* kFolder = "catalogue";

const std::string kAsking = "asking, one thread";
const std::string kMap = "std::filesystem, map";
const std::string kFew = "catalogue, a hundredth of the files";
const std::string kOneThread = "one thread";
const std::string kTwoThreads = "two threads";

std::string thousands(uint64_t number) {
  std::string text = std::to_string(number);
  for (size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, ",");
  return text;
}

}  // namespace

MediaTrees Suite::mediaTrees() const { return {scratch_.path(kFolder), options_.catalogueFiles}; }

std::string Suite::ofCatalogue(const std::string& what, MediaTrees::eTree tree) const {
  return "catalogue, " + what + " " + thousands(MediaTrees::filesIn(tree, options_.catalogueFiles));
}

void Suite::catalogue() {
  scanFromMemory(MediaTrees::eMiddle);
  scanFromMemory(MediaTrees::eLarge);
  scanFromDisk(MediaTrees::eMiddle);
  scanFromDisk(MediaTrees::eLarge);
  countScan();
  catalogueLookUps();
  findsInCatalogue();
  enumerateCatalogue();
  lookUpsAmongSlow();
}

// False where it is not allowed. A tiny run leaves them alone: they are everybody's.
bool Suite::dropEverything() const { return options_.quick || Caches::dropEverything(); }

// The rounds of a scan, beside those who do less and those who do the same otherwise.
void Suite::enterScan(Contest& contest, const MediaTrees& trees, MediaTrees::eTree tree) const {
  contest.enter("catalogue", [&trees, tree] { return CatalogueSides::scan(trees, tree); })
      .enter(kAsking, [&trees, tree] { return CatalogueSides::ask(trees, tree); })
      .enter(kMap, [&trees, tree] { return CatalogueSides::map(trees, tree); });
}

void Suite::scanFromMemory(MediaTrees::eTree tree) {
  const std::string name = ofCatalogue("scan of", tree) + " files, names in memory";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  Contest contest(options_.rounds);
  enterScan(contest, trees, tree);
  const bool grows = tree == MediaTrees::eLarge;
  if (grows) contest.enter(kFew, [&] { return CatalogueSides::scan(trees, MediaTrees::eSmall); });
  Row& row = add(name, Row::eFiles, contest);
  row.bars = {Judge::time(row, kAsking, kMostOverAsking), Judge::timeTold(row, kMap)};
  if (grows)
    row.bars.push_back(Judge::atMost(
        "time a file over that of " + kFew, "x %.2f",
        Figures::medianRatio(row.engine(), row.side(kFew), &Figures::p50), kMostGrowth));
  SystemCache::invalidate();
}

void Suite::scanFromDisk(MediaTrees::eTree tree) {
  const std::string name = ofCatalogue("scan of", tree) + " files, caches dropped";
  if (!wanted(name)) return;
  if (!dropEverything()) {
    addCounted(name).bars = {Judge::counted("time over " + kAsking, "",
                                            {std::nullopt, "dropping takes root's rights"}, 0)};
    return;
  }
  const MediaTrees trees = mediaTrees();
  Contest contest(std::min(options_.rounds, kDiskRounds));
  contest.before([this] { dropEverything(); });
  enterScan(contest, trees, tree);
  Row& row = add(name, Row::eFiles, contest);
  row.bars = {Judge::time(row, kAsking, kMostOverAskingDisk), Judge::timeTold(row, kMap)};
  SystemCache::invalidate();
}

void Suite::countScan() {
  const std::string name =
      ofCatalogue("system calls of a scan, memory of", MediaTrees::eLarge) + " files";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  for (auto tree : {MediaTrees::eSmall, MediaTrees::eMiddle, MediaTrees::eLarge}) trees.path(tree);
  const Workload::File media = {scratch_.path(kFolder), options_.catalogueFiles};
  const auto files = static_cast<double>(trees.files(MediaTrees::eMiddle));
  Probes::Calls calls = Probes::callsInScan(media, scratch_.path("trace"));
  const double asked = static_cast<double>(calls.each["statx"]);
  calls.each.erase("statx");
  Probes::Outcome asking = calls.per(files);
  if (asking.value) asking.value = asked / files;
  const Probes::ScanMemory memory = Probes::scanMemory(media);
  addCounted(name).bars = {
      Judge::counted("calls of statx, a file", "%.3f", asking, kMostCalls),
      Judge::counted("all other system calls, a file", "%.4f", calls.per(files), kMostOtherCalls),
      Judge::counted("resident memory, a file", "%.0f bytes", memory.bytes, kMostBytes),
      Judge::told("at the most while it was scanned, a file", "%.0f bytes", memory.most_bytes),
      Judge::counted("with a proxy to each picture, a file", "%.0f bytes", memory.withProxies,
                     kMostBytes)};
}

void Suite::catalogueLookUps() {
  const std::string name = ofCatalogue("look-ups in", MediaTrees::eLarge) + " entries";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  wrong_ += CatalogueSides::scan(trees, MediaTrees::eLarge).wrong;
  const std::vector<Cookie> cookies = trees.cookies(MediaTrees::eLarge);
  Contest contest(options_.rounds);
  contest.enter(kOneThread, [&] { return CatalogueSides::lookUp(cookies, 1); })
      .enter(kTwoThreads, [&] { return CatalogueSides::lookUp(cookies, 2); });
  Row& row = add(name, Row::eHits, contest);
  const double both =
      Figures::medianRatio(row.side(kTwoThreads), row.side(kOneThread), &Figures::millionHits);
  row.bars = {
      Judge::atLeast("look-ups a second, one thread", "%.2f M",
                     Figures::median(row.side(kOneThread), &Figures::millionHits), kLeastLookUps),
      Judge::atLeast("two threads together over one", "x %.2f", both, kLeastOfBoth),
      Judge::told("each of two threads over one alone", "x %.2f", both / 2)};
  SystemCache::invalidate();
}

void Suite::findsInCatalogue() {
  const std::string name = "catalogue, the file for a cookie that was asked for before";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  trees.path(MediaTrees::eSmall);
  const Workload::File media = {scratch_.path(kFolder), options_.catalogueFiles};
  addCounted(name).bars = {Judge::counted("system calls", "%.0f",
                                          Probes::callsInFinds(media, scratch_.path("trace")), 0)};
}

void Suite::enumerateCatalogue() {
  const std::string name = ofCatalogue("visit of", MediaTrees::eLarge) + " entries";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  wrong_ += CatalogueSides::scan(trees, MediaTrees::eLarge).wrong;
  const uint64_t entries = trees.files(MediaTrees::eLarge);
  Contest contest(options_.rounds);
  contest.enter("catalogue", [&] { return CatalogueSides::enumerate(entries); });
  Row& row = add(name, Row::eFiles, contest);
  row.bars = {Judge::atMost("time of all", "%.1f ms",
                            Figures::median(row.engine(), &Figures::seconds) * 1000,
                            kMostEnumerating_ms)};
  SystemCache::invalidate();
}

void Suite::lookUpsAmongSlow() {
  const std::string name =
      ofCatalogue("look-ups while a slow volume is scanned, in", MediaTrees::eLarge) + " entries";
  if (!wanted(name)) return;
  const MediaTrees trees = mediaTrees();
  trees.path(MediaTrees::eLarge);
  const Probes::AmongSlow look = Probes::lookUpsAmongSlow(
      {scratch_.path(kFolder), options_.catalogueFiles}, scratch_.path("slow"));
  addCounted(name).bars = {
      Judge::counted("the 99th of 100", "%.2f us", look.p99_us, kMostAmongSlow_us),
      Judge::told("the 99th of 100 while nothing is scanned", "%.2f us", look.alone_p99_us),
      Judge::told("the slowest", "%.0f us", look.max_us),
      Judge::told("look-ups", "%.0f", look.lookUps),
      Judge::told("time of the scan of 200 files", "%.2f s", look.scan_s)};
}
