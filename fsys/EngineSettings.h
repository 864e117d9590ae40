#pragma once

#include "platform/OsAtomics.h"

// The engine's settings. The integers are configuration keys of the same name, read once when the
// library is loaded; only tests change them later.
namespace EngineSettings {

extern int ReadPollDelay;      // ms between passes over the files opened for reading
extern int WritePollDelay;     // ms between passes over the others; twice it is a close's wait step
extern int ShowReadBuffDebug;  // show the read bytes outstanding after each read
extern int ShowWriteBuffDebug;   // the same for writes
extern int ShowRequestDebug;     // log the passes that start something
extern int MaxRequestListSize;   // requests a list holds before it is trimmed
extern int MaxFsysWriteRetries;  // how often queuing a write into a full list is tried again
extern int DontBuffNetReads;     // read network files past the page cache
extern int DisableSetOwner;      // leave the owner of files created on network drives alone
extern int AlwaysUseWriteCache;  // 1: write caching for every kind of drive
extern int ForcePollLimit;       // deferred requests that wake the poller
extern int MinNetDiskRate;       // bytes per ms below which a transfer is too slow
extern int MaxNetWriteQueue;     // thousands of write bytes outstanding that are too slow
extern int MaxNetReadQueue;      // the same for reads
extern int kMaxAllocRetries;     // read, and of no effect

// Set through the flat functions, on any thread.
extern OsWord<bool> networkWriteCaching;
extern OsWord<bool> deferRequests;

}  // namespace EngineSettings
