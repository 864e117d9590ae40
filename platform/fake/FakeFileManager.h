#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/OsFiles.h"
#include "platform/common/ProviderTable.h"
#include "platform/fake/FakeContent.h"
#include "platform/fake/FakeDrive.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FakeFile.h"
#include "platform/fake/FakeRecords.h"
#include "platform/fake/FaultPlan.h"

class FakeAsyncIo;

// FakeFileManager: files in memory, by name.
// Story      A name is any text, also one that ends in a separator; two names are the same file
//            when they are the same text. The drive of a name is the one with the longest prefix
//            that was set; without one it is FakeDrive's defaults. Every open and every transfer is
//            recorded.
// Differs    from a real file system: folders need not be there before their files; nothing is
//            resolved ('.' and '..', links); direct transfers take any alignment; of the mode only
//            eModeAsync, and that 0 is a probe, has an effect; a file may be as large as 2^63 - 1.
// Threads    one.
class FakeFileManager final : public iFileManager {
public:
  using Path = LightweightString<wchar_t>;

  FakeFileManager(FakeAsyncIo& asyncIo, FaultPlan& faults, FakeErrors& errors);

  Qv::Ptr<iFile> openMedia(const Path& path, unsigned flags, bool write, unsigned disposition,
                           unsigned mode) override;
  Qv::Ptr<iFile> openFile(const Path& path, unsigned access, unsigned creation, unsigned flags,
                          unsigned attributes) override;
  bool isServed(const Path& path) const override { return providers_.isServed(path); }
  Qv::Ptr<iFile> openServed(const Path& path, unsigned flags, bool write) override;
  void registerProvider(const Path& prefix, const Qv::Ptr<iFileProvider>& provider) override {
    providers_.set(prefix, provider);
  }
  Qv::Ptr<iDiskDrive> getDisk(const Path& path) override;
  bool exists(const Path& path) override;
  bool getFileSize(const Path& path, uint64_t& bytes) override;
  bool deleteFile(const Path& path) override;
  bool createFolder(const Path& path) override;
  wchar_t getSeparator() const override { return separator_; }

  // What the test arranges. A file that is there already is replaced.
  void addFile(const Path& path, const std::vector<unsigned char>& bytes = {});
  void setReadOnly(const Path& path, bool readOnly = true);
  void setDrive(const Path& prefix, const FakeDrive& drive);
  void setSeparator(wchar_t separator) { separator_ = separator; }
  // What it looks at. The bytes of a file that is not there are none.
  bool hasFile(const Path& path) const { return find(path) != nullptr; }
  std::vector<unsigned char> bytesOf(const Path& path) const;
  const std::vector<FakeOpen>& opens() const { return opens_; }
  const std::vector<FakeTransferRecord>& transfers() const { return transfers_; }
  void clearRecords();
  // File objects of the fake that exist, closed or not.
  unsigned liveFiles() const { return liveFiles_; }

  // For the fake.
  FakeAsyncIo& asyncIo() { return asyncIo_; }
  FaultPlan& faults() { return faults_; }
  FakeErrors& errors() { return errors_; }
  const FakeDrive& driveOf(const std::wstring& path) const;
  // How many of these bytes the drive has room for.
  uint32_t room(const std::wstring& path, const FakeContent& content, uint64_t offset,
                uint32_t bytes) const;
  void record(const FakeTransferRecord& transfer) { transfers_.push_back(transfer); }
  void countFile(int delta) { liveFiles_ += static_cast<unsigned>(delta); }

private:
  using Content = std::shared_ptr<FakeContent>;

  Content find(const Path& path) const;
  uint32_t check(const Path& path) const;
  uint32_t openContent(const Path& path, bool write, unsigned creation, Content& content);
  Qv::Ptr<iFile> opened(FakeOpen& open, const Content& content, const FakeFile::Opening& how);

  FakeAsyncIo& asyncIo_;
  FaultPlan& faults_;
  FakeErrors& errors_;
  ProviderTable providers_;
  std::map<std::wstring, Content> files_;
  std::set<std::wstring> folders_;
  std::map<std::wstring, FakeDrive> drives_;
  FakeDrive defaultDrive_;
  std::vector<FakeOpen> opens_;
  std::vector<FakeTransferRecord> transfers_;
  unsigned liveFiles_ = 0;
  wchar_t separator_ = L'/';
};
