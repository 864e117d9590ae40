#include "fsys/DeliveryScope.h"

#include "fsys/FileRequest.h"

thread_local DeliveryScope* DeliveryScope::innermost_ = nullptr;

DeliveryScope::DeliveryScope(const FileRequest* request, uint32_t countedBytes, bool takesKicks)
    : file_(request->file_),
      writeBytes_(request->is_read_ ? 0 : countedBytes),
      takesKicks_(takesKicks),
      outer_(innermost_) {
  innermost_ = this;
}

DeliveryScope::DeliveryScope(const FsysFile* file) : file_(file), outer_(innermost_) {
  innermost_ = this;
}

DeliveryScope::~DeliveryScope() { innermost_ = outer_; }

bool DeliveryScope::active() { return innermost_ != nullptr; }

bool DeliveryScope::takeKick(const FsysFile* file) {
  DeliveryScope* scope = innermost_;
  if (!scope || !scope->takesKicks_ || scope->file_ != file) return false;
  scope->tookKick_ = true;
  return true;
}

uint32_t DeliveryScope::writeBytesHeld(const FsysFile* file) {
  uint32_t held = 0;
  for (const DeliveryScope* scope = innermost_; scope; scope = scope->outer_)
    if (scope->file_ == file) held += scope->writeBytes_;
  return held;
}
