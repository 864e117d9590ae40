#pragma once

#include "platform/OsAsyncIo.h"

iAsyncIo* linuxAsyncIo();
