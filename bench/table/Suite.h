#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/table/Caches.h"
#include "bench/table/Contest.h"
#include "bench/table/MediaTrees.h"
#include "bench/table/Options.h"
#include "bench/table/Probes.h"
#include "bench/table/Row.h"
#include "bench/table/Scratch.h"
#include "bench/table/Workload.h"

// Suite: measures everything and makes the rows of the table.
// Story      Of each row's work all sides do rounds in turn (Contest); a side's figure is the
//            median of its rounds; sides are compared by the median over neighbouring rounds.
// Threads    one.
class Suite {
public:
  explicit Suite(const Options& options);

  void run();
  const std::vector<Row>& rows() const { return rows_; }
  uint64_t wrong() const { return wrong_; }
  bool isDirect() const;
  const Caches& caches() const { return caches_; }

private:
  bool wanted(const std::string& what) const;
  // Holds the contest and keeps the row.
  Row& add(const std::string& name, Row::eKind kind, Contest& contest);
  Row& addCounted(const std::string& name);

  // Reads (SuiteReads.cpp).
  void reads();
  Row& reading(const std::string& name, const Workload& work);
  std::function<Round()> warmed(const Workload& work, Round (*read)(const Workload&));
  void oneFile();
  void eightFiles();
  void middleBlocks();
  void smallBlocks();
  void smallBlocksMerged();
  void manyFiles();

  // Writes (SuiteWrites.cpp).
  void writes();
  void alignedWrites();
  void writesFromOneThread();
  void stagedWrites();
  std::function<Round()> checkedWrite(const Workload& work, Round (*write)(const Workload&)) const;

  // One request at a time, and what is counted (SuiteTrips.cpp).
  void trips();
  void tripsInCache();
  void openings();
  void tripsToDisk();
  void cacheHits();
  void counted();
  void memory();

  // Drives (SuiteStorage.cpp).
  void storage();
  void lookUps();
  void readsAmongDrives();
  void passAmongDrives();
  void toolListsDrives();

  // The catalogue (SuiteCatalogue.cpp).
  void catalogue();
  MediaTrees mediaTrees() const;
  std::string ofCatalogue(const std::string& what, MediaTrees::eTree tree) const;
  void enterScan(Contest& contest, const MediaTrees& trees, MediaTrees::eTree tree) const;
  bool dropEverything() const;
  void scanFromMemory(MediaTrees::eTree tree);
  void scanFromDisk(MediaTrees::eTree tree);
  void countScan();
  void catalogueLookUps();
  void findsInCatalogue();
  void enumerateCatalogue();
  void lookUpsAmongSlow();

  Options options_;
  Scratch scratch_;
  Caches caches_;
  Workload::File one_;
  std::vector<Workload::File> eight_;
  std::vector<Row> rows_;
  uint64_t wrong_ = 0;
};
