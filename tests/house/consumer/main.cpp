#include "fsys/Fsys.h"

int main(int, char** arguments) {
  FsysFile* file = nullptr;
  if (FsysInitialize() != 1) return 1;
  if (FsysOpen(&file, fromUTF8(arguments[0]), 1 << 20, 1, nullptr) != 1) return 2;
  if (FsysClose(file, nullptr) != 1) return 3;
  FsysUninitialize(Shutdown::eNormal);
  return theFsys == nullptr ? 0 : 4;
}
