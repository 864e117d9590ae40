#pragma once

#include <string>
#include <vector>

#include "platform/OsFiles.h"
#include "platform/common/Mutex.h"

// ProviderTable: which names a file manager serves itself, and through whom.
// Story      A file manager has one and asks it for every path. "mem:" is in it from the start. Of
//            several prefixes that fit a path the longest counts.
// Threads    any. No lock is held while a provider works.
class ProviderTable {
public:
  ProviderTable();

  // Replaces the provider of that prefix; a null one takes it away. An empty prefix is ignored.
  void set(const LightweightString<wchar_t>& prefix, const Qv::Ptr<iFileProvider>& provider);
  // The provider for the path; null when nobody serves it.
  Qv::Ptr<iFileProvider> find(const LightweightString<wchar_t>& path) const;
  bool isServed(const LightweightString<wchar_t>& path) const;
  // Null when nobody serves the path (eOsNotFound) or its provider cannot open it.
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags, bool write) const;

private:
  struct Entry {
    std::wstring prefix;
    Qv::Ptr<iFileProvider> provider;
  };

  mutable Mutex lock_;
  std::vector<Entry> entries_ GUARDED_BY(lock_);
};
