#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "tests/fault/FaultAsked.h"
#include "tests/fault/FaultLayer.h"

// FaultTrial: one life of the engine that anything may befall, with a model of what its files hold.
// Story      Each operation is the engine's, with what was asked and what was answered written
//            down. The byte that belongs at an offset of a file is always the pattern's, so every
//            answer can be judged: a read that succeeded holds those bytes, a write that succeeded
//            is found in the file. A write that was only taken into the write cache may be missing
//            when a failure was reported: by FsysError, or by the close.
// Threads    one drives; callbacks come on any.
// Errors     findings() says what was not as it was promised.
class FaultTrial {
public:
  using Text = LightweightString<wchar_t>;

  FaultTrial(FaultLayer& layer, const Text& folder) : layer_(layer), folder_(folder) {}
  // Ends the engine and deletes the files.
  ~FaultTrial();
  FaultTrial(const FaultTrial&) = delete;
  FaultTrial& operator=(const FaultTrial&) = delete;

  // Reads may end as if the file did.
  void allowReadsThatEndEarly() { readsEndEarly_ = true; }
  // From here on nothing may fail.
  void expectSuccess() { mustSucceed_ = true; }
  // Nothing strikes any more, and from here on nothing may fail.
  void calm();

  // Not looked at by the layer: a file of pattern bytes is there.
  void put(const std::string& name, uint64_t bytes);

  bool start();
  // The file of that name, opened (null when it was refused) and already open.
  void open(const std::string& name, uint32_t flags, uint32_t coalesceLength = 0);
  FsysFile* file(const std::string& name) const;

  // What is asked of a file that is not open is not asked.
  void read(const std::string& name, uint64_t offset, uint32_t bytes, const FaultHow& how = {});
  void write(const std::string& name, uint32_t bytes, const FaultHow& how = {});
  // Adjacent in the file and in memory, so that they may merge.
  void writePieces(const std::string& name, uint32_t bytes, unsigned pieces);
  void readNow(const std::string& name, uint32_t bytes);
  void writeNow(const std::string& name, uint32_t bytes);
  void seek(const std::string& name, uint64_t offset);
  // Until everything that was accepted has been answered.
  void wait();
  void close(const std::string& name);
  void closeAll();
  void end();

  // After the end: judges what was answered and what the files hold.
  std::string findings();

private:
  struct Open {
    std::string name;
    FsysFile* file;
  };

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);
  Text path(const std::string& name) const;
  template <typename Call>
  bool attempt(const Call& call);
  Qv::Ptr<FaultAsked> asked(const std::string& name, bool write, uint64_t offset, uint32_t bytes);
  void writeFrom(const std::string& name, const Qv::Ptr<iMemHolder>& data, const FaultHow& how);
  void settle(const Qv::Ptr<FaultAsked>& request, bool accepted);
  bool allAnswered();
  void wrong(const std::string& what);
  void expected(bool good, const std::string& what);
  std::string whyNot(const FaultAsked& request);
  std::string whyNotRead(const FaultAsked& request, const iMemHolder& data) const;
  std::vector<unsigned char> content(const std::string& name) const;
  uint64_t sizeOf(const std::string& name) const;

  FaultLayer& layer_;
  Text folder_;
  bool readsEndEarly_ = false;
  bool mustSucceed_ = false;
  bool reported_ = false;  // a failure, by FsysError or by a close
  std::vector<Open> open_;
  std::set<std::string> names_;           // of all files
  std::map<std::string, uint64_t> next_;  // where the next write of a file goes
  Qv::Ptr<iThreadEvent> changed_;

  std::mutex lock_;  // guards what is below, and what callbacks write into a request
  std::vector<Qv::Ptr<FaultAsked>> requests_;
  std::string findings_;
};
