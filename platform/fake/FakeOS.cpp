#include "platform/fake/FakeOS.h"

FakeOS::FakeOS()
    : world_(clock_, threads_, asyncIo_, errors_),
      memory_(faults_, errors_),
      threads_(world_, faults_),
      asyncIo_(threads_, faults_, errors_),
      files_(asyncIo_, faults_, errors_, clock_) {}

void FakeOS::letGo() {
  threads_.dropTasks();
  asyncIo_.dropAll();
  files_.dropErrands();
}
