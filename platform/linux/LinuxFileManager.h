#pragma once

#include "platform/OsFiles.h"

iFileManager* linuxFileManager();
