#pragma once

#include <cstddef>

#include "fsys/iMemHolder.h"

// MemRef: a view onto a slice of another holder. A read's callback gets one over its own bytes.
// Ownership  shares the underlying holder and keeps it alive.
// Units      bytes. The slice is not checked against the holder: who makes a MemRef has done so.
// Errors     getBuffer is null when the underlying holder is empty or has no bytes.
class FSYS_EXPORT MemRef final : public iMemHolder {
public:
  MemRef(const Qv::Ptr<iMemHolder>& underlying, unsigned start, unsigned size);
  ~MemRef() override;
  unsigned char* getBuffer() const override;
  unsigned getSize() const override;
  unsigned getUsed() const override;
  // True: the count is kept, and is nothing but kept.
  bool setUsed(unsigned used) override;

  // From a pool: handing a read's bytes to a callback allocates nothing.
  static void* operator new(size_t bytes);
  static void operator delete(void* memory);

private:
  friend struct LayoutPeer;
  Qv::Ptr<iMemHolder> underlying_;
  unsigned start_;
  unsigned size_;
  unsigned used_ = 0;
};
