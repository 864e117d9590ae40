#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/fake/FakeContent.h"

// FakeEffect: one thing that was done to the disk of the fake, or a barrier: from there on what was
// done before is durable.
struct FakeEffect {
  enum eKind {
    eCreate,  // of names: a file
    eRename,
    eDelete,
    eMakeFolder,
    eRemoveFolder,
    eWrite,  // of a file's content and permissions
    eTruncate,
    eMode,
    eFlush,  // barriers
    eSyncFolder,
  };
  eKind kind;
  std::wstring name;  // by which it was done; behind all links if it is one of names
  std::shared_ptr<FakeContent> content = nullptr;  // the file's; null when a link was renamed
  std::wstring from = {};                          // eRename
  std::wstring linkTarget = {};                    // eRename of a link
  uint64_t offset = 0;                             // eWrite
  std::vector<unsigned char> bytes = {};           // eWrite
  unsigned mode = 0;                               // eMode

  bool isOfNames() const { return kind <= eRemoveFolder; }
  bool isBarrier() const { return kind >= eFlush; }
  // In words, for people.
  std::string describe() const;
};

// FakeJournal: what was done to the disk of the fake, in order.
// Story      A write of several bytes is two effects, its first half and its second: a disk does
//            not write it in one step.
//            A flush makes what was done to that file's content before durable, a folder's sync
//            what was done to the names in it. A rename into another folder is durable when that
//            folder is.
// Ownership  the contents stay as long as the journal.
class FakeJournal {
public:
  explicit FakeJournal(wchar_t separator) : separator_(separator) {}

  void add(FakeEffect effect);
  const std::vector<FakeEffect>& effects() const { return effects_; }

  // Of the first `count` effects, barriers aside, those that are durable.
  std::vector<size_t> durable(size_t count) const { return select(count, true); }
  // Those that are not.
  std::vector<size_t> pending(size_t count) const { return select(count, false); }

private:
  bool makesDurable(const FakeEffect& barrier, const FakeEffect& effect) const;
  bool isDurable(size_t effect, size_t count) const;
  std::vector<size_t> select(size_t count, bool durable) const;

  const wchar_t separator_;
  std::vector<FakeEffect> effects_;
};
