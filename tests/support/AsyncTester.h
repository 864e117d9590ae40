#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/OsFiles.h"
#include "tests/support/AlignedBuffer.h"

// AsyncTester: a completion handler with a receiver that writes down what is reported.
// Threads    any; what a request reports is safe to read once waitFor has counted it.
class AsyncTester {
public:
  static constexpr unsigned char kFill = 0xEE;

  // A buffer that the transfers of a request keep.
  class Buffer : public iObject, public AlignedBuffer {
  public:
    explicit Buffer(size_t bytes) : AlignedBuffer(bytes, kFill) {}
  };

  struct Request {
    explicit Request(uint32_t bytes);
    ~Request();

    Qv::Ptr<Buffer> keep;
    AlignedBuffer& buffer;
    Qv::Ptr<iAsyncContext> context;
    std::function<void(Request&)> then;  // on the handler's thread, before it counts
    int reports = 0;
    uint32_t bytes = 0;
    uint32_t error = 0;
    bool succeeded = false;
  };

  // Holds whoever passes until it is opened.
  class Gate {
  public:
    void pass();
    void open();
    void waitUntilSomebodyIsThere();

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isThere_ = false;
    bool isOpen_ = false;
  };

  explicit AsyncTester(const char* name = "async tester", int running = 3);
  ~AsyncTester();
  AsyncTester(const AsyncTester&) = delete;
  AsyncTester& operator=(const AsyncTester&) = delete;

  CompletionPortHandler* handler() { return handler_.get(); }
  void destroyHandler() { handler_.reset(); }

  // Each starts one transfer: the whole buffer, or `bytes` of it from `shift` on.
  uint32_t read(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset);
  uint32_t read(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset, uint32_t bytes,
                uint32_t shift = 0);
  uint32_t readTo(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset, void* buffer,
                  uint32_t bytes);
  uint32_t write(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset);
  uint32_t write(const Qv::Ptr<iFile>& file, Request& request, uint64_t offset, uint32_t bytes);

  // Returns when that many have been reported since the beginning.
  void waitFor(unsigned reports);
  unsigned reports();
  // Returns when one more transfer has gone all the way.
  void settle(const Qv::Ptr<iFile>& file);

private:
  class Receiver;

  std::mutex mutex_;
  std::condition_variable changed_;
  unsigned reports_ = 0;
  std::unique_ptr<Receiver> receiver_;
  std::unique_ptr<CompletionPortHandler> handler_;
};
