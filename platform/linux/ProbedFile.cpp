#include "platform/linux/ProbedFile.h"

#include "platform/linux/LinuxFailure.h"

uint32_t ProbedFile::getInfo(FILE_INFO* info) const {
  if (!info || !isOpen()) return failWith(eOsInvalid);
  info->writePosition = size_;
  return 1;
}

uint32_t ProbedFile::refuse(uint32_t* done) {
  if (done) *done = 0;
  return failWith(eOsNotSupported);
}
