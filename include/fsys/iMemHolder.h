#pragma once

#include "fsys/Export.h"
#include "platform/iObject.h"

// iMemHolder: a holder of bytes: what a transfer reads into or writes from, and what a completion
// callback is handed.
// Threads    the holder itself is not locked; who shares one agrees on who writes to its bytes.
// Ownership  held by Qv::Ptr; the bytes stay good as long as a holder keeps them.
// Units      bytes.
class FSYS_EXPORT iMemHolder : public iObject {
public:
  ~iMemHolder() override;
  // The first byte, or null.
  virtual unsigned char* getBuffer() const = 0;
  // How many bytes there are.
  virtual unsigned getSize() const = 0;
  // How many of them are in use, where the holder keeps such a count.
  virtual unsigned getUsed() const = 0;
  // False when the holder keeps no such count.
  virtual bool setUsed(unsigned used) = 0;
};
