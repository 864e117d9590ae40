#include "tools/fsys/demo/MountedBay.h"

#include <sys/mount.h>

#include <cerrno>
#include <cstdio>

#include "platform/Clocks.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr double kLook_ms = 20;

}  // namespace

MountedBay::MountedBay(const std::string& root, const std::string& device, const std::string& type)
    : root_(root), device_(device), type_(type) {}

MountedBay::~MountedBay() {
  if (isOut_ && !mount()) std::fprintf(stderr, "fsys demo: %s stays unmounted\n", device_.c_str());
}

std::string MountedBay::kind() const { return type_ + " on " + device_; }

const char* MountedBay::way() const { return "unmounted"; }

void MountedBay::takeOut() {
  double deadline_ms = Qv::now() + kPatience_ms;
  while (::umount2(root_.c_str(), UMOUNT_NOFOLLOW) != 0) {
    if (errno != EBUSY || Qv::now() > deadline_ms) throw systemError("unmounting", root_, errno);
    Interrupt::wait(-1, kLook_ms);
  }
  isOut_ = true;
}

void MountedBay::putBack() {
  if (!mount()) throw systemError("mounting", root_, errno);
  isOut_ = false;
}

bool MountedBay::mount() const {
  return ::mount(device_.c_str(), root_.c_str(), type_.c_str(), 0, nullptr) == 0;
}
