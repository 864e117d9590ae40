#include "platform/common/ProviderTable.h"

#include <algorithm>

#include "platform/OS.h"
#include "platform/common/MemFiles.h"

ProviderTable::ProviderTable() { set(kMemFilePrefix, makeMemFileProvider()); }

void ProviderTable::set(const LightweightString<wchar_t>& prefix,
                        const Qv::Ptr<iFileProvider>& provider) {
  if (prefix.empty()) return;
  Entry entry{std::wstring(prefix.view()), provider};
  Entry replaced;  // goes after the lock is left: it may be the provider's last reference
  MutexLock lock(lock_);
  auto place = std::find_if(entries_.begin(), entries_.end(),
                            [&](const Entry& e) { return e.prefix == entry.prefix; });
  if (place != entries_.end()) {
    std::swap(replaced, *place);
    entries_.erase(place);
  }
  if (!provider) return;
  auto shorter = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) {
    return e.prefix.size() < entry.prefix.size();
  });
  entries_.insert(shorter, std::move(entry));
}

Qv::Ptr<iFileProvider> ProviderTable::find(const LightweightString<wchar_t>& path) const {
  MutexLock lock(lock_);
  for (const Entry& entry : entries_)  // the longest prefix stands first
    if (path.view().starts_with(entry.prefix)) return entry.provider;
  return {};
}

bool ProviderTable::isServed(const LightweightString<wchar_t>& path) const {
  return static_cast<bool>(find(path));
}

Qv::Ptr<iFile> ProviderTable::open(const LightweightString<wchar_t>& path, unsigned flags,
                                   bool write) const {
  if (Qv::Ptr<iFileProvider> provider = find(path)) return provider->open(path, flags, write);
  OS()->getErrors()->setLastError(eOsNotFound);
  return {};
}
