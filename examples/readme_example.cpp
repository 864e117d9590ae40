#include <cstdio>

#include "fsys/Fsys.h"
#include "platform/OS.h"

static Qv::Ptr<iThreadEvent> arrived;

static void show(Qv::Ptr<iObject>&, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  if (status == eRequestSucceeded && data) fwrite(data->getBuffer(), 1, data->getSize(), stdout);
  arrived->signal();
}

int main(int count, char** arguments) {
  FsysFile* file = nullptr;
  Qv::Ptr<iObject> context;
  arrived = OS()->getThreads()->createEvent(0, 0, 0);
  if (count != 2 || FsysInitialize() != 1) return 2;
  if (FsysOpen(&file, fromUTF8(arguments[1]), 1 << 20, 1, nullptr) != 1) return 1;
  if (file->DirectRead(0, 64, false, show, context) == 1) arrived->wait(iThreadEvent::kForever);
  FsysClose(file, nullptr);
  FsysUninitialize(Shutdown::eNormal);
}
