#pragma once

#include "platform/PlatformExport.h"

// Shutdown: what runs when the process ends in an orderly way.
// Story      Services register callbacks as they start. run() calls them from the highest priority
//            to the lowest, the last registered first among equals, each once, and forgets them.
//            A process that never calls run() has its callbacks called at exit. One that was forked
//            from it, and did not run another program, has those called that it registered itself:
//            what the others end is not there.
// Threads    addCallback: any. run: one thread, with no lock held while a callback runs.
namespace Shutdown {

// How the process ends.
enum eExitType : int { eNormal = 0, eAbort = 1 };

// What is called; it is told how the process ends.
using Callback = void (*)(eExitType);

// Registers a callback, whether or not it is registered already.
PLATFORM_EXPORT void addCallback(Callback callback, int priority);
// Calls those that are registered.
PLATFORM_EXPORT void run(eExitType type);

}  // namespace Shutdown
