#include "platform/iObject.h"

iObject::~iObject() = default;
