#include "fsys/iMemHolder.h"

iMemHolder::~iMemHolder() = default;
