#pragma once

#include "fsys/MemRef.h"
#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"

// Makes requests for a file's queues by hand, and sees whether a poller was kicked.
class FsysFileFixture : public EngineFixture {
protected:
  void SetUp() override {
    EngineFixture::SetUp();
    os_->run();
  }

  FileRequest* readRequest(FsysFile* file, uint64_t offset, uint32_t bytes, int ticket = 0,
                           bool deferrable = false, bool synchronous = false) {
    return new FileRequest(true, bytes, offset, deferrable, synchronous, nullptr, file,
                           &Recorder::told, recorder_->ticket(ticket));
  }
  FileRequest* writeRequest(FsysFile* file, uint64_t offset, uint32_t bytes, int ticket = 0,
                            bool deferrable = false, bool synchronous = false) {
    return new FileRequest(false, bytes, offset, deferrable, synchronous,
                           TestHolder::ofPattern(bytes, offset), file, &Recorder::told,
                           recorder_->ticket(ticket));
  }
  // Whether the poller was kicked since it last ran.
  bool readPollIsDue() { return os_->threads().isDue(FsysPollPeer::threadId(*readPoll())); }
  bool writePollIsDue() { return os_->threads().isDue(FsysPollPeer::threadId(*writePoll())); }
  FsysPoll* readPoll() { return FsysPeer::readPoll(*theFsys); }
  FsysPoll* writePoll() { return FsysPeer::writePoll(*theFsys); }

  // Fills a write list with started writes that do not end.
  void fillWriteList(FsysFile* file, int entries) {
    os_->asyncIo().hold(true);
    for (int i = 0; i < entries; ++i)
      ASSERT_EQ(file->QueueWriteRequest(writeRequest(file, uint64_t(i) * 512, 512)), 1u);
    passOverWrites();
    os_->run();
  }
};
