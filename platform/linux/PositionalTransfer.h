#pragma once

#include "platform/linux/FileTransfer.h"

// Carries a transfer out on the calling thread, which waits until it has ended.
void carryOut(FileTransfer& transfer);
