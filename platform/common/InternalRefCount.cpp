#include "platform/QvPtr.h"

Qv::InternalRefCount::~InternalRefCount() = default;
