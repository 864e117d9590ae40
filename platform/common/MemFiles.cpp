#include "platform/common/MemFiles.h"

#include <map>
#include <memory>
#include <string>

#include "platform/OS.h"
#include "platform/common/MemFile.h"
#include "platform/common/Mutex.h"

namespace {

// MemFileProvider: the names, and the content that each stands for.
class MemFileProvider final : public iFileProvider {
public:
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags, bool write) override {
    std::shared_ptr<MemFileContent> content = find(std::wstring(path.view()), write);
    if (!content) {
      OS()->getErrors()->setLastError(eOsNotFound);
      return {};
    }
    bool readable = !write || (flags & iFileManager::eFlagRead) != 0;
    return Qv::Ptr<iFile>(new MemFile(std::move(content), readable, write));
  }

  bool remove(const LightweightString<wchar_t>& path) override {
    std::shared_ptr<MemFileContent> removed;  // its blocks go after the lock is left
    {
      MutexLock lock(lock_);
      auto place = files_.find(std::wstring(path.view()));
      if (place != files_.end()) {
        removed = std::move(place->second);
        files_.erase(place);
      }
    }
    if (!removed) OS()->getErrors()->setLastError(eOsNotFound);
    return removed != nullptr;
  }

private:
  std::shared_ptr<MemFileContent> find(std::wstring name, bool create) {
    MutexLock lock(lock_);
    auto place = files_.find(name);
    if (place != files_.end()) return place->second;
    if (!create) return nullptr;
    auto content = std::make_shared<MemFileContent>();
    files_.emplace(std::move(name), content);
    return content;
  }

  Mutex lock_;
  std::map<std::wstring, std::shared_ptr<MemFileContent>> files_ GUARDED_BY(lock_);
};

}  // namespace

Qv::Ptr<iFileProvider> makeMemFileProvider() { return Qv::Ptr<iFileProvider>(new MemFileProvider); }
