#pragma once

#include <cstdint>
#include <string>

#include "platform/LightweightString.h"
#include "platform/OsAsyncIo.h"
#include "platform/OsDrives.h"
#include "platform/OsThreads.h"
#include "platform/Vector.h"
#include "platform/iObject.h"

// FILE_INFO: what is known of an open file.
struct FILE_INFO {
  uint64_t writePosition = 0;  // where writing continues: the file's size, in bytes
};

// MediaRemoval: a media file that is to be deleted, and what goes with it.
struct MediaRemoval {
  LightweightString<wchar_t> path;       // the file's
  LightweightString<wchar_t> sideFiles;  // a pattern of names in its folder; empty: none of them
  // Of a link: the folder below its own that holds its media, by its whole name; empty: none.
  LightweightString<wchar_t> subfolder;
  std::string start;  // with a subfolder: what the file begins with
};

// MediaLeft: why that stays which was to go with a media file. 1: it is gone, none was asked for,
// or nothing went at all; else the first OsError.
struct MediaLeft {
  uint32_t subfolder = 1;
  uint32_t sideFiles = 1;
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
  // Makes everything that was written durable. Waits for the disk.
  virtual uint32_t flush() = 0;
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
  // What openMedia does with the file: transfers past the page cache, transfers that do not wait,
  // and a file that it makes has its folder's group and the current user.
  enum Mode : unsigned { eModeDirect = 1, eModeAsync = 2, eModeSetOwner = 4 };
  // What openFile opens a file for.
  enum Access : unsigned { eAccessRead = 1, eAccessWrite = 2, eAccessReadWrite = 3 };
  // What openFile does about whether there is a file.
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
  // knows none gives the file without it; where the lock fails in any other way, so does the open,
  // and a file that it made stays: another may hold it by then. Who locks a name means that very
  // file: a link of that name is not followed (ELOOP), and no file is made behind one. A file that
  // is deleted or exchanged before it is locked is let go of, and the name opened anew; where that
  // happens again and again it is eOsAccessDenied. A file that is there is opened and not made, so
  // that it may be another user's wherever it may be written. The lock is free when the last
  // reference has gone: that waits for the drive, but for two seconds at most.
  enum Attribute : unsigned { eAttributeHoldLock = 32 };

  // What can be told of a file's lock.
  enum LockState : uint8_t {
    eLockUnknown,   // the file system knows no locks
    eLockFree,      // nobody holds it
    eLockFreeHere,  // nobody on this machine does; of others the file system may tell nothing
    eLockHeld,
  };

  // One file of a listing.
  struct ListedFile {
    LightweightString<wchar_t> name;  // without its folder
    uint64_t bytes = 0;
  };
  // A folder that this machine serves to others.
  struct Share {
    LightweightString<wchar_t> uncName;    // two backslashes, workstation, backslash, share
    LightweightString<wchar_t> localPath;  // with a separator at its end
  };

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
  // not known. Does not wait for a drive that may fall silent, a server's or a program's: what lies
  // on one is told from the list of mounts, without a look at it, and links that lie on it are not
  // followed. Only what the system mounts when somebody goes there is waited for, for
  // kDrivePatience_ms at most (then null, eOsTimedOut), and not while an earlier caller's is late.
  virtual Qv::Ptr<iDiskDrive> getDisk(const LightweightString<wchar_t>& path) = 0;
  virtual bool exists(const LightweightString<wchar_t>& path) = 0;
  // False when there is no such file.
  virtual bool getFileSize(const LightweightString<wchar_t>& path, uint64_t& bytes) = 0;
  virtual bool deleteFile(const LightweightString<wchar_t>& path) = 0;
  // Makes the missing parents too; true when it is there already.
  virtual bool createFolder(const LightweightString<wchar_t>& path) = 0;
  virtual wchar_t getSeparator() const = 0;

  // Every drive that is mounted, in the order of the system's list. They are asked all at once
  // whether they are there, so several silent ones take no longer than one. What the system keeps
  // for itself is listed as excluded; what holds no files is never asked, and not available.
  // Nothing is mounted because of a look at the list.
  virtual Vector<Qv::Ptr<iDiskDrive>> getDisks() = 0;
  // Runs the errand where the drive that holds the path can be waited for: on the calling thread
  // when the drive is one that answers by itself (a local disk, memory), else on a thread of the
  // drive's own, after those that came before it. False (eOsTimedOut) when it has not ended in
  // `patience_ms`, and at once while an earlier one is late: then the errand never runs, or ends at
  // some later time. False (eOsNoMemory) when there was none for it, or it threw std::bad_alloc. It
  // is destroyed wherever it ends. A path that no drive holds is no reason not to run it.
  virtual bool onDrive(const LightweightString<wchar_t>& path, const Qv::Ptr<iTask>& errand,
                       unsigned patience_ms) = 0;

  // Whether anything is mounted that may keep who asks it waiting: a server's or a program's drive,
  // what lies beyond one, or what the system mounts when somebody goes there. Looks at the list of
  // mounts alone.
  virtual bool mayDriveFallSilent() = 0;
  // Whether the drive that holds the path is such a one. Looks at no more than onDrive does.
  virtual bool mayFallSilent(const LightweightString<wchar_t>& path) = 0;

  // What follows looks at the path itself, and waits for its drive as long as that takes: where the
  // drive may be silent it is called from an errand.
  // A folder, links followed.
  virtual bool folderExists(const LightweightString<wchar_t>& path) = 0;
  // Whether this process may make files in that folder, or write that file, by what the system
  // tells; nothing is written.
  virtual bool isWritable(const LightweightString<wchar_t>& path) = 0;
  // The regular files whose names match the last component of `pattern`, sorted by name. Only that
  // component may hold '*' (any text) and '?' (one character); "*.*" is every name; a name that is
  // to stand for itself goes through literalName. False, and no files, when the folder cannot be
  // read; true with none when nothing matches.
  virtual bool listFiles(const LightweightString<wchar_t>& pattern, Vector<ListedFile>& files) = 0;
  // Gives a file another name on the same drive, in one step; a file of that name is replaced.
  virtual bool renameFile(const LightweightString<wchar_t>& from,
                          const LightweightString<wchar_t>& to) = 0;
  // Makes the folder's names durable. True where the file system knows no such thing.
  virtual bool syncFolder(const LightweightString<wchar_t>& path) = 0;
  // Deletes a media file: its subfolder with everything in it, then the file, then its side files,
  // all in the one folder that is opened by the path first of all: what takes that folder's place
  // meanwhile keeps its own. False when the file stays. What of the rest stays is told in `left`,
  // and keeps nothing else from going.
  // With a subfolder the file is looked at before anything goes. It begins otherwise, or is no
  // regular file: eOsInvalid; it is gone, or cannot be read: that error; and nothing goes. The
  // subfolder of a symbolic link stays (eOsInvalid), for what begins so lies elsewhere.
  // The subfolder's name begins like the path of the file's folder, case aside; what follows after
  // as many characters names the way down. eOsInvalid, and it stays: a name on the way down is
  // empty, "." or "..", or there is none, or the name as a whole leads to another folder. No link
  // is followed below the file's folder, not even one that takes a folder's place meanwhile: a link
  // is deleted itself. Nothing on another file system is, and nothing more once a folder on the way
  // back up was moved (ESTALE). What cannot be deleted stays, and the rest goes all the same.
  // The side files are those that listFiles has for the pattern. A link is deleted itself.
  // Of a file that a provider serves nothing else goes, and no subfolder that one serves
  // (eOsNotSupported).
  virtual bool deleteMedia(const MediaRemoval& media, MediaLeft& left) = 0;
  // The name behind all links; the last component need not exist. False when it cannot be told.
  virtual bool followLinks(const LightweightString<wchar_t>& path,
                           LightweightString<wchar_t>& target) = 0;
  // Gives the file `to` the permissions of the file `from`, and its owner as far as that is
  // allowed. Neither is followed: a link as `from` has none to give, and nothing changes.
  virtual bool copyMode(const LightweightString<wchar_t>& from,
                        const LightweightString<wchar_t>& to) = 0;

  // Marks a file that others are to notice: every user may read it, and its time of last change is
  // now. A link of that name is not followed. A file that holds anything, or has another name as
  // well, is left as it is (eOsNotPermitted): whoever may move files there may have given the name
  // to somebody's secret. False when one of both was not done.
  virtual bool markFile(const LightweightString<wchar_t>& path) = 0;
  // Whether anybody holds the lock of a file, in this process or in another, on this machine or on
  // another. Only asks: it takes no lock, and needs no right but to read the file. A link of that
  // name is not followed. False, and eLockUnknown, when the file cannot be opened or asked about.
  virtual bool askLock(const LightweightString<wchar_t>& path, LockState& state) = 0;

  // The name by which other machines know a path: below a network mount the name of its server
  // (two backslashes, server, share, rest), below a share of this machine that of this workstation.
  // Empty when it has none; it never ends in a backslash. Looks at lists, never at the drive.
  virtual LightweightString<wchar_t> getUNCName(const LightweightString<wchar_t>& path) = 0;
  // The shares that this machine serves under the name of `workstation`; sorted by name.
  virtual Vector<Share> getShares(const LightweightString<wchar_t>& workstation) = 0;

protected:
  ~iFileManager() = default;
};
