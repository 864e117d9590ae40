#pragma once

#include <cstdint>

#include "platform/LightweightString.h"
#include "platform/OsAsyncIo.h"
#include "platform/Vector.h"
#include "platform/iObject.h"

// FILE_INFO: what is known of an open file.
struct FILE_INFO {
  uint64_t writePosition = 0;  // where writing continues: the file's size, in bytes
};

// iFile: one open file.
// Threads    positional and asynchronous transfers: any thread, several at once. Transfers at the
//            current position: one thread at a time.
// Ownership  shared; the descriptors go with the last reference, a transfer in flight holds one.
// Units      bytes. Any address, offset and length will do: a transfer that does not meet the
//            alignment that direct transfers want goes through the page cache.
// Errors     1, or an OsError that is the thread's last error too. Interrupted and short transfers
//            are continued until the end of the file or an error.
class iFile : public iObject {
public:
  // eAsyncTransfers: startRead and startWrite can be used once the file is attached.
  // eTransfersByCaller: who must wait for a transfer anyway does best to make it itself, by readAt,
  // writeAt or writeBehind: the system answers soon, and nobody has to be woken.
  enum Capability : unsigned { eAsyncTransfers = 1, eTransfersByCaller = 2 };

  virtual bool isOpen() const = 0;
  // Later operations fail; transfers in flight end by themselves.
  virtual void close() = 0;
  // Capability bits.
  virtual unsigned getCapabilities() const = 0;
  // 0 for a closed file.
  virtual uint64_t getSize() const = 0;
  virtual uint32_t getInfo(FILE_INFO* info) const = 0;

  // `*done` says how much was transferred, also after an error. What a read did not reach is
  // zero-filled. A read at or past the end transfers 0 bytes and is no error.
  virtual uint32_t readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) = 0;
  virtual uint32_t writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) = 0;
  // As writeAt, but the system may go on with the bytes after it returned. They can be read at
  // once; what goes wrong with them later is told by settle().
  virtual uint32_t writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                               uint32_t* done) = 0;
  // Waits until the system has given the disk what was written behind, and an error is known; it
  // is told once. No flush: the disk's own cache, and what the file system keeps of the file, may
  // be lost.
  virtual uint32_t settle() = 0;
  // At the current position, which starts at 0 and moves by what was done.
  virtual uint32_t read(void* buffer, uint32_t bytes, uint32_t* done) = 0;
  virtual uint32_t write(const void* buffer, uint32_t bytes, uint32_t* done) = 0;
  virtual void seek(uint64_t offset) = 0;

  // Sends the completions of this file's transfers to `handler`. Once, before the first transfer.
  virtual uint32_t attach(CompletionPortHandler* handler) = 0;
  // Starts a transfer. 1: it will be reported once, to the handler, with `transfer.request`, unless
  // `context` is detached before. Anything else: nothing was started and nothing will be reported.
  virtual uint32_t startRead(const Qv::Ptr<iAsyncContext>& context,
                             const AsyncTransfer& transfer) = 0;
  virtual uint32_t startWrite(const Qv::Ptr<iAsyncContext>& context,
                              const AsyncTransfer& transfer) = 0;
};

// iDiskDrive: the drive that holds a path, as it was when it was asked for: it does not change, nor
// ask the system again.
// Threads    any.
// Errors     none: what is not known is eUnknown, or 512 bytes.
class iDiskDrive : public iObject {
public:
  enum eType : uint32_t {
    eUnknown = 0,
    eFixed = 1,
    eRemovable = 2,
    eNetwork = 3,
    eOptical = 4,
    eMemory = 5,
  };

  virtual eType getType() const = 0;
  virtual uint32_t getSectorSize() const = 0;  // bytes
};

// iFileProvider: files that the file manager serves itself, for names that begin with a prefix.
// Threads    called by any, several at once, with no lock of the file manager's held: it may call
//            the file manager, and what it keeps it guards itself. A call may still run, and its
//            files may still be in use, after it has been replaced.
// Ownership  the file manager holds a reference until it is replaced, and while a call runs.
// Errors     as the file manager's; it sets the thread's last error itself.
class iFileProvider : public iObject {
public:
  // Null when it cannot be opened; the thread's last error says why.
  virtual Qv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags,
                              bool write) = 0;
  // False when there is no such file, or it cannot be removed.
  virtual bool remove(const LightweightString<wchar_t>& path) = 0;
};

// iFileManager: names, files and drives.
// Threads    any.
// Errors     a null result or false; the thread's last error says why. A name with an embedded NUL,
//            or one that has no byte form, is eOsInvalid.
// Every open is close-on-exec, without a controlling terminal, never blocks on a FIFO or a device,
// and takes regular files only (a folder: eOsIsAFolder, anything else: eOsNotSupported).
class iFileManager {
public:
  enum : unsigned { eFlagRead = 1, eFlagWrite = 2 };
  enum : unsigned { eOpenOrCreateNeverTruncate = 4 };
  enum Mode : unsigned { eModeDirect = 1, eModeAsync = 2, eModeSetOwner = 4 };
  enum Access : unsigned { eAccessRead = 1, eAccessWrite = 2, eAccessReadWrite = 3 };
  enum Creation : unsigned {
    eOpenExisting = 0,
    eCreateNew = 1,
    eCreateOrReplace = 2,
    eOpenOrCreate = 3,
  };
  // eAttributeHoldLock: the file is locked while it is open, so that others can tell a live holder
  // from a leftover. Whoever opens it so for reading, with or without writing, shares the lock with
  // all who do the same, in this process and in others; whoever opens it so for writing alone
  // shares it with nobody. An open that finds the lock taken fails with eOsAccessDenied and does
  // not empty the file. Opening without the attribute asks for no lock, and a file system that
  // knows none gives the file without it.
  enum Attribute : unsigned { eAttributeHoldLock = 32 };

  // The engine's door. Without `write`: an existing file, for reading. With `write`: opens or
  // creates, never truncates (also readable when the flags have eFlagRead). `disposition` is
  // eOpenOrCreateNeverTruncate. `mode`: Mode bits; 0 is a probe, which transfers nothing: it says
  // whether the file can be opened so, and what it is capable of.
  virtual Qv::Ptr<iFile> openMedia(const LightweightString<wchar_t>& path, unsigned flags,
                                   bool write, unsigned disposition, unsigned mode) = 0;
  // The general door. Always through the page cache. `flags` is kept for callers and has no effect.
  virtual Qv::Ptr<iFile> openFile(const LightweightString<wchar_t>& path, unsigned access,
                                  unsigned creation, unsigned flags, unsigned attributes) = 0;

  // Whether a provider is registered for the path's prefix, and its file.
  virtual bool isServed(const LightweightString<wchar_t>& path) const = 0;
  virtual Qv::Ptr<iFile> openServed(const LightweightString<wchar_t>& path, unsigned flags,
                                    bool write) = 0;
  // Replaces the provider of that prefix; a null provider takes it away. "mem:" is there from the
  // start: files in memory, shared by name, gone with the process.
  virtual void registerProvider(const LightweightString<wchar_t>& prefix,
                                const Qv::Ptr<iFileProvider>& provider) = 0;

  // The drive that holds the path (the nearest folder that exists), links followed. Null when it is
  // not known. Does not wait for a network drive: what lies on one is told from the list of mounts,
  // without a look at it, and links that lie on it are not followed. Only a drive that the system
  // mounts when somebody goes there is waited for.
  virtual Qv::Ptr<iDiskDrive> getDisk(const LightweightString<wchar_t>& path) = 0;
  virtual bool exists(const LightweightString<wchar_t>& path) = 0;
  // False when there is no such file.
  virtual bool getFileSize(const LightweightString<wchar_t>& path, uint64_t& bytes) = 0;
  virtual bool deleteFile(const LightweightString<wchar_t>& path) = 0;
  // Makes the missing parents too; true when it is there already.
  virtual bool createFolder(const LightweightString<wchar_t>& path) = 0;
  virtual wchar_t getSeparator() const = 0;

protected:
  ~iFileManager() = default;
};
