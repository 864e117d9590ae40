#pragma once

#include "fsys/iMemHolder.h"
#include "platform/Vector.h"

// HolderGroup: keeps several holders alive as one: the buffers of a merged write.
class HolderGroup : public iObject {
public:
  explicit HolderGroup(const Vector<Qv::Ptr<iMemHolder>>& holders) : holders_(holders) {}

private:
  Vector<Qv::Ptr<iMemHolder>> holders_;
};
