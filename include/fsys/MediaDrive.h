#pragma once

#include "fsys/Export.h"
#include "platform/LightweightString.h"
#include "platform/OsAtomics.h"
#include "platform/QvPtr.h"

// MediaDrive: one place where media is kept.
// Threads    the name is fixed; the marks are atomic and may be read and written on any thread.
// Ownership  shared by Qv::Ptr; stays valid after its removal for whoever still holds it.
class FSYS_EXPORT MediaDrive : public virtual Qv::InternalRefCount {
public:
  // `rootPath` with or without its trailing separator.
  explicit MediaDrive(const LightweightString<wchar_t>& rootPath);
  ~MediaDrive() override;

  // The local name and a separator.
  const LightweightString<wchar_t>& getRootLocation() const { return rootLocation_; }

  // Whether the last judged transfer was too slow.
  bool isTooSlow() const { return tooSlow_.get(); }
  void setTooSlow(bool tooSlow) { tooSlow_.set(tooSlow); }
  // Set by who keeps the drive busy; cleared by a start pass that finds nothing deferred.
  bool isBusy() const { return busy_.get(); }
  void setBusy(bool busy) { busy_.set(busy); }

private:
  LightweightString<wchar_t> rootLocation_;
  OsWord<bool> tooSlow_{false};
  OsWord<bool> busy_{false};
};
