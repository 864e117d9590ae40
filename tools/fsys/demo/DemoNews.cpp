#include "tools/fsys/demo/DemoNews.h"

#include <initializer_list>
#include <utility>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/Text.h"

DemoNews::Ear::Ear(const char* kind, std::optional<int> catalogueType)
    : kind_(kind),
      catalogueType_(catalogueType),
      listener_(new NotifyListener([this](const NotifyMsg& message) { hear(message); })) {
  if (catalogueType_)
    SystemCache::instance().add(static_cast<Notifier::Type>(*catalogueType_), listener_);
  else
    DiskManager::addListener(listener_);
}

DemoNews::Ear::~Ear() {
  listener_->stop();
  if (catalogueType_)
    SystemCache::instance().remove(static_cast<Notifier::Type>(*catalogueType_), listener_);
}

// The registry tells each of its listeners everything, and its messages by their text.
void DemoNews::Ear::hear(const NotifyMsg& message) {
  if (catalogueType_ || message.getText().view() == kind_) ++heard_;
}

std::string DemoNews::Ear::take() { return of(kind_, std::exchange(heard_, 0)); }

DemoNews::DemoNews()
    : added_(kAdded, SystemCache::fileAddedMsgType_),
      proxyAdded_(kProxyAdded, SystemCache::proxyAddedMsgType_),
      removed_(kRemoved, SystemCache::fileRemovedMsgType_),
      locations_(kLocations) {}

std::string DemoNews::of(const char* kind, uint64_t count) {
  return count == 0 ? "" : text("%s %llu", kind, static_cast<unsigned long long>(count));
}

std::string DemoNews::take() {
  std::string all;
  for (Ear* ear : {&added_, &proxyAdded_, &removed_, &locations_}) {
    std::string one = ear->take();
    if (!one.empty()) all += (all.empty() ? "" : ", ") + one;
  }
  return all;
}
