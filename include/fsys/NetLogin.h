#pragma once

#include <cstdint>

#include "fsys/Export.h"
#include "platform/LightweightString.h"
#include "platform/OsFiles.h"
#include "platform/QvPtr.h"

// The login of this workstation to shared network media: a lock file in a folder that all see, one
// for each workstation, named after it.
// Story      The application logs in when it begins to work on shared media: the file is made, or
//            found as a crash left it, and held open, and locked where the file system knows locks,
//            so that other machines can tell a live login from a leftover (iFileManager::askLock).
//            It logs out when it is done: the file is closed and deleted. A process has one login
//            at most; another login ends it.
// Threads    the functions: any; NetLogin and NetLogout come one after the other, under a lock of
//            their own, and who comes second waits; also while the process ends. lockFilehandle is
//            the application's to read between calls, at its own risk: no lock guards it.
// Ownership  the file is shared with lockFilehandle, and stays open until the logout also where
//            that is empty. A process that ends without a logout, or unloads the library, leaves
//            the file, unlocked. A child that was forked meanwhile and runs no other program holds
//            the lock as well.
// Units      each question to the drive (opening, marking, deleting) is waited for at most
//            kNetLoginPatience_ms, and the file's close two seconds.
// Errors     the thread's last error says why a login failed. Without memory a login answers 0
//            (eOsNoMemory) and a logout 1; only getNetLoginLockFileName throws std::bad_alloc.
// States     logged out   nothing recorded            NetLogin that succeeds -> logged in
//            logged in    a name recorded, file held  NetLogout -> logged out; NetLogin that
//                                                     succeeds -> logged in, elsewhere perhaps;
//                                                     one that fails -> the same, handle empty
// Kept       a login that fails empties lockFilehandle also while an earlier login goes on, and a
//            second login that succeeds leaves it empty:
//            NetLoginTest.ALoginThatFailsLeavesTheEarlierOneHeldWithAnEmptyHandle,
//            NetLoginTest.ASecondLoginLeavesTheHandleEmptyAndItsFileHeld. The steps have that
//            order: the new file becomes the handle, and the logout of the earlier login empties
//            it. The file itself stays open and locked underneath, by a reference of the login's.
//            A second login in the same folder ends without its file, and answers 1:
//            NetLoginTest.ASecondLoginInTheSameFolderEndsWithoutItsFile.
//            The file is opened with 3, 3, 4 and 32: to read and write, opened or created, held
//            with a lock. The 4 says what the 3 before it says already, that nothing is cut off,
//            and has no effect: NetLoginTest.TheFileIsOpenedWith3And3And4And32.

// How long a drive that does not answer is waited for. What was asked of it may still be done once
// it answers: a login that was given up may leave its file, unlocked.
constexpr unsigned kNetLoginPatience_ms = 10000;

// The open lock file, or empty. Empty when the library is loaded.
extern FSYS_EXPORT Qv::Ptr<iFile>& lockFilehandle;

// The full name of this workstation's lock file in that folder. Text alone: nothing is looked at.
FSYS_EXPORT LightweightString<wchar_t> getNetLoginLockFileName(
    const LightweightString<wchar_t>& folder);
// Logs in. 1: the login is held, an earlier one is ended, and every user may read the file as far
// as iFileManager::markFile is allowed to see to that. 0: the file cannot be opened, or its drive
// does not answer; an earlier login goes on. Refused are (eOsInvalid) a folder that is not named
// from the root and a workstation without a name or with a separator in it, and what the file
// manager does not lock: a link, or what is no regular file.
FSYS_EXPORT uint32_t NetLogin(const LightweightString<wchar_t>& folder);
// Logs out; without a login it does nothing. It deletes whatever file has the recorded name by
// then. 1, always: that the file could not be deleted is not told.
FSYS_EXPORT uint32_t NetLogout();
