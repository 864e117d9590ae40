#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/WriteStream.h"
#include "tools/fsys/demo/DemoChannel.h"

// DemoRecorder: records a file picture by picture: at each turn it takes the next bytes of its
// source, as a camera would give them, and writes them through the engine.
class DemoRecorder final : public DemoChannel {
public:
  DemoRecorder(const std::string& file, const std::string& source, uint64_t pictures);

  void prepare() override;
  bool take(uint64_t turn, double turn_ms) override;
  void finish() override;

private:
  std::string name_;
  PlainFile source_;
  uint64_t size_;
  uint32_t picture_bytes_;
  uint64_t done_ = 0;
  std::unique_ptr<EngineFile> file_;
  std::unique_ptr<WriteStream> stream_;
};
