#include "fsys/EngineSettings.h"

#include "platform/ConfigInt.h"

namespace EngineSettings {

int ReadPollDelay = config_int("ReadPollDelay", 50);
int WritePollDelay = config_int("WritePollDelay", 50);
int ShowReadBuffDebug = config_int("ShowReadBuffDebug", 0);
int ShowWriteBuffDebug = config_int("ShowWriteBuffDebug", 0);
int ShowRequestDebug = config_int("ShowRequestDebug", 0);
int MaxRequestListSize = config_int("MaxRequestListSize", 40);
int MaxFsysWriteRetries = config_int("MaxFsysWriteRetries", 200);
int DontBuffNetReads = config_int("DontBuffNetReads", 0);
int DisableSetOwner = config_int("DisableSetOwner", 0);
int AlwaysUseWriteCache = config_int("AlwaysUseWriteCache", 0);
int ForcePollLimit = config_int("ForcePollLimit", 30);
int MinNetDiskRate = config_int("MinNetDiskRate", 300);
int MaxNetWriteQueue = config_int("MaxNetWriteQueue", 1500);
int MaxNetReadQueue = config_int("MaxNetReadQueue", 1000);
int kMaxAllocRetries = config_int("kMaxAllocRetries", 20);

OsWord<bool> networkWriteCaching{false};
OsWord<bool> deferRequests{false};

}  // namespace EngineSettings
