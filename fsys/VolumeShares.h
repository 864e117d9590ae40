#pragma once

#include "platform/CriticalSection.h"
#include "platform/LightweightString.h"
#include "platform/OsAtomics.h"
#include "platform/OsFiles.h"
#include "platform/Vector.h"

// VolumeShares: the folders that this machine serves to others, and where they lie here.
// Story      The system is asked for them once, by whoever needs them first, and not again in the
//            process.
// Threads    any: who comes while they are asked for waits; later no lock is taken.
// Errors     std::bad_alloc: then the next one asks.
// Kept       localName takes every name that begins like a share for one of its files, and skips
//            the character after the share's name whatever it is
//            (DiskManagerSharesTest.TheCharacterBehindTheSharesNameIsSkippedWhateverItIs); it takes
//            a share without a name for everybody's
//            (DiskManagerSharesTest.AShareWithoutANameTakesEveryNameThatIsNotEmpty).
class VolumeShares {
public:
  using Text = LightweightString<wchar_t>;

  void discover();
  // The local path of the first share whose name `unc` begins with, and what follows there after
  // one character. Empty when there is none.
  Text localName(const Text& unc);
  // The folder here that `unc` names: as above, but a share is taken for whole components only, and
  // what follows has this system's separators.
  Text localFolder(const Text& unc);
  // For tests: the next one asks again. Not while others use them.
  void forget();

private:
  // Not analysed: once the mark is set the list is only read, and whoever sees the mark sees it.
  const Vector<iFileManager::Share>& discovered() NO_THREAD_SAFETY_ANALYSIS;

  CriticalSection lock_;
  // Atomic, set under lock_ once the list is there.
  OsWord<bool> isDiscovered_{false};
  Vector<iFileManager::Share> shares_ GUARDED_BY(lock_);
};
