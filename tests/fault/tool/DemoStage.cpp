#include "tests/fault/tool/DemoStage.h"

#include <filesystem>

#include "fsys/DiskManager.h"
#include "platform/Shutdown.h"

namespace {

constexpr uint64_t kPicture = 60001;
constexpr uint64_t kSound = 3001;
constexpr uint64_t kProxy = 1501;
constexpr int kRegistrysPriority = 201;

}  // namespace

void DemoStage::putMedia(const ToolStage& stage) {
  stage.makeFolder("given/media");
  for (unsigned number = 1; number <= 6; ++number) {
    std::string shot = "TAKE000" + std::to_string(number);
    stage.put("given/media/V" + shot + "00.mov", kPicture + number, 100 * number);
    for (unsigned channel = 1; channel <= 4; ++channel)
      stage.put("given/media/S" + shot + "0" + std::to_string(channel) + ".wav", kSound + channel,
                100 * number + channel);
    if (number <= 4) continue;
    for (unsigned height : {144, 288})
      stage.put("given/media/V" + shot + "00.A2.proxy." + std::to_string(height) + ".mp4",
                kProxy + height, 100 * number + height);
  }
}

void DemoStage::prepare(const ToolStage& stage) {
  stage.makeFolder("work");
  Shutdown::addCallback(&DiskManager::DiskManagerShutdown, kRegistrysPriority);
}

std::string DemoStage::whyNotEmpty(const ToolStage& stage) {
  std::string why;
  for (const auto& left : std::filesystem::recursive_directory_iterator(stage.path("work")))
    why += left.path().native() + " is left; ";
  return why;
}
