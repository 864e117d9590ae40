#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "ReadBlock.h"
#include "fsys/Fsys.h"

// FsysReader: a file of the engine for whoever reads it by position and waits: a demuxer.
// Story      It asks for the block that holds the position and for those behind it, so that several
//            requests are in flight while the caller works on what has arrived. After a jump the
//            blocks that are of use are kept and the others let go of; what comes back to them soon
//            is answered by the engine from what it read. The bytes are handed out where the disk
//            put them: nothing is copied.
// Threads    one at a time. Completions reach the blocks alone, never the reader.
// Ownership  the file is open as long as the reader is there. The destructor waits for what is in
//            flight, some seconds at most; what comes later than that still finds its block. Slices
//            outlive the reader.
// Units      bytes.
// Waits      for a block as long as its drive takes, unless it is interrupted; for the size half a
//            second, then the one that was known counts. Opening waits for the drive.
// Errors     see Outcome. After any of them reading may go on, at any position: what failed is
//            asked for anew, what was waited for may have come meanwhile.
class FsysReader {
public:
  enum Outcome {
    eBytes,
    eEnd,          // the file has no byte there now; it may have later
    eInterrupted,  // the caller's function said so
    eFailed,       // error() says why
  };
  // Asked before anything, and every 50 ms while a block is waited for.
  using IsInterrupted = std::function<bool()>;
  // Bytes of the file. They are good as long as the holder is kept.
  struct Slice {
    Qv::Ptr<iMemHolder> holder;
    const unsigned char* bytes = nullptr;
    uint32_t length = 0;
  };

  // Opens the file. A link of the media folders is followed by the engine.
  FsysReader(const LightweightString<wchar_t>& path, IsInterrupted isInterrupted);
  ~FsysReader();
  FsysReader(const FsysReader&) = delete;
  FsysReader& operator=(const FsysReader&) = delete;

  bool isOpen() const { return file_ != nullptr; }
  // Why it is not open, or what failed last; an OsError.
  uint32_t error() const { return error_; }
  // As the system tells it now: it grows while somebody records.
  uint64_t size();
  // The bytes from `position` on, as many as one block holds.
  Outcome read(uint64_t position, Slice& slice);
  // How many blocks were asked for, and how many of those the engine had.
  uint32_t blocksAsked() const { return blocksAsked_; }
  uint32_t cacheHits() const { return file_->GetCacheHits(); }

private:
  using Block = Qv::Ptr<ReadBlock>;

  void learnSize(const LightweightString<wchar_t>& path);
  void letGoOfOthers(uint64_t position);
  bool ask(uint64_t index);
  Outcome waitFor(uint64_t index);
  Outcome take(const Block& block, uint64_t position, Slice& slice);

  LightweightString<wchar_t> path_;  // of the file itself, where a link leads to it
  const IsInterrupted isInterrupted_;
  const Qv::Ptr<iThreadEvent> arrival_;
  FsysFile* file_ = nullptr;
  uint32_t error_ = 0;
  uint64_t size_ = 0;                 // when it was last asked
  std::map<uint64_t, Block> window_;  // by their number in the file
  uint32_t blocksAsked_ = 0;
};
