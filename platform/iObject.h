#pragma once

#include "platform/PlatformExport.h"
#include "platform/QvPtr.h"

// iObject: the base of everything that is shared by reference. Held by Qv::Ptr; destroyed on the
// thread that drops the last reference.
class PLATFORM_EXPORT iObject : public virtual Qv::InternalRefCount {
public:
  ~iObject() override;
};
