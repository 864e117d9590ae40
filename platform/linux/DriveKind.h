#pragma once

#include "platform/OsDrives.h"
#include "platform/linux/MountEntry.h"

// What the system's description of a mount says of its drive. Nothing here looks at the drive.

iDiskDrive::eType driveTypeOf(const MountEntry& mount);
// Whether the kernel answers for it from this machine's own disks and memory. Servers and programs,
// and what is not known, may keep whoever asks waiting for ever.
bool answersByItself(const MountEntry& mount);
// Whether a lock on a file there is known to every machine that can open the file. What a program
// of this machine stands for is not known, and neither is what of locks it hands on.
bool sharesLocks(const MountEntry& mount);
// Whether it is a place at which the system mounts something when somebody goes there.
bool isAutomount(const MountEntry& mount);
// Whether it holds no files that somebody keeps: what the kernel tells of itself.
bool isPseudo(const MountEntry& mount);
// Whether it is no place for media: pseudo file systems, automounts, what cannot be written, and
// where the system keeps its own: /boot, /efi, /proc, /sys, /dev, /run but not /run/media, snaps.
bool isNoPlaceForMedia(const MountEntry& mount);
