#include "fsys/CompletionInfo.h"

CompletionInfo::CompletionInfo(CompletionCallback callback, const Qv::Ptr<iObject>& context,
                               uint64_t offset, uint32_t length)
    : callback_(callback), context_(context), offset_(offset), length_(length) {}
