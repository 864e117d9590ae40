#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/OsFiles.h"
#include "platform/common/ProviderTable.h"
#include "platform/fake/FakeClock.h"
#include "platform/fake/FakeContent.h"
#include "platform/fake/FakeDrive.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FakeFile.h"
#include "platform/fake/FakeJournal.h"
#include "platform/fake/FakeNames.h"
#include "platform/fake/FakeRecords.h"
#include "platform/fake/FaultPlan.h"

class FakeAsyncIo;

// FakeFileManager: files in memory, by name.
// Story      A name is any text, also one that ends in a separator; two names are the same file
//            when they are the same text. The drive of a name is the one with the longest prefix
//            that was set; without one it is FakeDrive's defaults. Every open and every transfer is
//            recorded.
//            A drive that is silent does not answer. A question to it (getDisks, and a drive's
//            isAvailable and getSpace) costs kDrivePatience_ms of the stepped clock, once until it
//            answers again, however many such drives are asked at once. An errand costs its own
//            patience and is held; while one is held, further ones are refused at once. What looks
//            at a silent drive without an errand would wait for ever: std::logic_error.
// Differs    from a real file system: '.' and '..' are not resolved; direct transfers take any
//            alignment; of the mode only eModeAsync, and that 0 is a probe, has an effect; a file
//            may be as large as 2^63 - 1; links go to whole paths; the fake says who may write
//            and nothing follows from it.
// Threads    one.
class FakeFileManager final : public iFileManager {
public:
  using Path = LightweightString<wchar_t>;

  FakeFileManager(FakeAsyncIo& asyncIo, FaultPlan& faults, FakeErrors& errors, FakeClock& clock);

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
  Vector<Qv::Ptr<iDiskDrive>> getDisks() override;
  bool onDrive(const Path& path, const Qv::Ptr<iTask>& errand, unsigned patience_ms) override;
  bool mayDriveFallSilent() override;
  bool mayFallSilent(const Path& path) override;
  bool folderExists(const Path& path) override;
  bool isWritable(const Path& path) override;
  bool listFiles(const Path& pattern, Vector<ListedFile>& files) override;
  bool renameFile(const Path& from, const Path& to) override;
  bool syncFolder(const Path& path) override;
  bool deleteMedia(const MediaRemoval& media, MediaLeft& left) override;
  bool followLinks(const Path& path, Path& target) override;
  bool copyMode(const Path& from, const Path& to) override;
  bool markFile(const Path& path) override;
  bool askLock(const Path& path, LockState& state) override;
  Path getUNCName(const Path& path) override;
  Vector<Share> getShares(const Path& workstation) override;

  // What the test arranges. A file that is there already is replaced. A folder is there when it was
  // added or made, with its first file at the latest; it is taken away with all that lies in it. A
  // drive whose prefix ends in a separator is mounted there: that is a folder.
  void addFile(const Path& path, const std::vector<unsigned char>& bytes = {});
  void setReadOnly(const Path& path, bool readOnly = true);
  void setDrive(const Path& prefix, const FakeDrive& drive);
  // Forgets what was set for that very prefix: its names lie on the drive below. They stay.
  void unmount(const Path& prefix);
  // What was set for that very prefix, to be changed in place; std::out_of_range without it.
  FakeDrive& drive(const Path& prefix);
  void addFolder(const Path& path);
  void removeFolder(const Path& path);
  // isWritable then says no of that very path.
  void setWritable(const Path& path, bool writable);
  // A name that stands for another: opening, exists, folderExists and followLinks go there.
  void addLink(const Path& path, const Path& target);
  void setMode(const Path& path, unsigned mode);
  // Another process, or another machine, holds the file's lock with those who read.
  void setLocked(const Path& path, bool locked);
  void setShares(const Vector<Share>& shares) { shares_ = shares; }
  // How often the shares were asked for, and with which workstation last.
  unsigned sharesAsked() const { return sharesAsked_; }
  const Path& workstationAsked() const { return workstationAsked_; }
  // The errands that silent drives hold; run, oldest first, as on threads of their own: how many.
  size_t lateErrands() const { return lateErrands_.size(); }
  unsigned runLateErrands();
  void setSeparator(wchar_t separator) { separator_ = separator; }
  // What it looks at. The bytes of a file that is not there are none.
  bool hasFile(const Path& path) const { return find(path) != nullptr; }
  std::vector<unsigned char> bytesOf(const Path& path) const;
  // Its permissions; 0 when it is not there.
  unsigned modeOf(const Path& path) const;
  // When it was marked last, by the fake's clock; 0 when it was not.
  double markedAt_ms(const Path& path) const;
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
  FakeNames& names() { return names_; }
  // Where what is done to the files is recorded; null: nowhere.
  FakeJournal* journal() const { return journal_; }
  void setJournal(FakeJournal* journal) { journal_ = journal; }
  void note(FakeEffect effect) {
    if (journal_) journal_->add(std::move(effect));
  }
  // Into a file that was opened by that name.
  void writeContent(const std::wstring& path, const std::shared_ptr<FakeContent>& content,
                    uint64_t offset, const void* buffer, uint32_t bytes);
  // Forgets the errands that are held: they never run.
  void dropErrands();
  // Whether the drives with these prefixes answer. Waits once for those that are silent.
  bool askDrives(const std::vector<std::wstring>& prefixes);
  // The prefix that counts for a name without links; empty: none.
  std::wstring prefixFor(const std::wstring& name) const;
  const FakeDrive& driveWith(const std::wstring& prefix) const;

private:
  using Content = std::shared_ptr<FakeContent>;

  struct LateErrand {
    std::wstring prefix;
    Qv::Ptr<iTask> errand;
  };
  struct DriveRecord {
    FakeDrive drive;
    bool asked = false;  // a question was not answered yet
  };

  Content find(const Path& path) const;
  uint32_t check(const Path& path) const;
  uint32_t checkItself(const Path& path) const;
  uint32_t checkNoLink(const Path& path) const;
  // Whether what the name lies in is a folder. A name without links.
  uint32_t checkPlace(const std::wstring& name) const;
  uint32_t openContent(const Path& path, bool write, unsigned creation, Content& content);
  Qv::Ptr<iFile> opened(FakeOpen& open, const Content& content, const FakeFile::Opening& how);
  // Records the failure, unless it went well.
  bool answer(uint32_t result);

  // Of names.
  std::wstring resolved(const std::wstring& path) const;
  std::wstring resolvedFolder(const std::wstring& path) const;
  std::vector<std::wstring> makeFolders(const std::wstring& folder);
  void moveName(const std::wstring& from, const std::wstring& to);
  std::set<std::wstring> namesIn(const std::wstring& inside) const;
  bool isName(const std::wstring& name) const;
  uint32_t findItself(const Path& path, Content& content) const;
  void changeMode(const Path& path, const Content& content, unsigned mode);
  bool isFolder(const std::wstring& path) const;
  uint32_t look(FaultPlan::eCall call, const Path& path) const;
  uint32_t checkWritable(const std::wstring& path) const;
  uint32_t findMatching(const Path& pattern, std::wstring& inside, Vector<ListedFile>& files) const;
  uint32_t removeName(const std::wstring& name);
  Path folderOfFile(const Path& path) const;
  uint32_t checkStart(const std::wstring& file, const std::string& start) const;
  uint32_t findSubfolder(const Path& folder, const Path& subfolder, std::wstring& found) const;
  uint32_t removeSubfolder(const MediaRemoval& media, const std::wstring& file);
  uint32_t removeSideFiles(const MediaRemoval& media);
  uint32_t removeTree(const std::wstring& tree);
  uint32_t checkRename(const std::wstring& from, const std::wstring& to) const;

  // Of drives.
  // Throws when that would be for ever. A name without links.
  void waitFor(const std::wstring& name) const;
  bool holdsErrand(const std::wstring& prefix) const;
  void runErrandsOf(const std::wstring& prefix);
  bool runErrand(const Qv::Ptr<iTask>& errand, bool onItsOwnThread);

  FakeAsyncIo& asyncIo_;
  FaultPlan& faults_;
  FakeErrors& errors_;
  FakeClock& clock_;
  ProviderTable providers_;
  FakeNames names_;
  FakeJournal* journal_ = nullptr;
  std::set<std::wstring> notWritable_;
  std::map<std::wstring, DriveRecord> drives_;
  std::vector<std::wstring> driveOrder_;  // prefixes, as they were first set
  FakeDrive defaultDrive_;
  std::vector<LateErrand> lateErrands_;
  Vector<Share> shares_;
  Path workstationAsked_;
  unsigned sharesAsked_ = 0;
  std::vector<FakeOpen> opens_;
  std::vector<FakeTransferRecord> transfers_;
  unsigned liveFiles_ = 0;
  unsigned errandsRunning_ = 0;
  wchar_t separator_ = L'/';
};
