#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/QvPtr.h"
#include "tools/fsys/NotifyListener.h"

// DemoNews: hears what the catalogue and the registry tell.
// Threads    one.
class DemoNews {
public:
  static constexpr const char* kAdded = "SysCacheAdd";
  static constexpr const char* kProxyAdded = "SysCacheAddProxy";
  static constexpr const char* kRemoved = "SysCacheDel";
  static constexpr const char* kLocations = "MediaLocationsChangeMsg";

  DemoNews();
  DemoNews(const DemoNews&) = delete;
  DemoNews& operator=(const DemoNews&) = delete;

  // What was told since it was asked last: "SysCacheAdd 20, SysCacheDel 1". Empty: nothing.
  std::string take();
  // The same of one kind alone, for what is expected.
  static std::string of(const char* kind, uint64_t count);

private:
  // Counts one kind of messages while it is there: of the catalogue's, or of the registry's.
  class Ear {
  public:
    explicit Ear(const char* kind, std::optional<int> catalogueType = std::nullopt);
    ~Ear();
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;
    std::string take();

  private:
    void hear(const NotifyMsg& message);

    const char* kind_;
    std::optional<int> catalogueType_;
    Qv::Ptr<NotifyListener> listener_;
    uint64_t heard_ = 0;
  };

  Ear added_;
  Ear proxyAdded_;
  Ear removed_;
  Ear locations_;
};
