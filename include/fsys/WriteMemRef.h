#pragma once

#include "fsys/iMemHolder.h"

// WriteMemRef: the memory of a file's write cache.
// Ownership  owns 524288 bytes of virtual memory; they go with the last reference: the file's, or
//            that of a request that still writes from it.
// Kept       it carries no length: getSize and getUsed are 0, setUsed does nothing; every request
//            that writes from it carries its own (WriteMemRefTest.CarriesNoLength).
//            The destructor frees without testing for null
//            (WriteMemRefTest.FreesItsMemoryWithoutTestingIt).
class FSYS_EXPORT WriteMemRef : public iMemHolder {
public:
  static constexpr unsigned kBytes = 524288;

  WriteMemRef();
  ~WriteMemRef() override;
  WriteMemRef(const WriteMemRef&) = delete;
  WriteMemRef& operator=(const WriteMemRef&) = delete;

  unsigned char* getBuffer() const override;
  unsigned getSize() const override;
  unsigned getUsed() const override;
  bool setUsed(unsigned used) override;

private:
  friend struct LayoutPeer;
  unsigned char* memory_;
};
