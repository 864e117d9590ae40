#include "platform/fake/FakeErrors.h"

#include <cstdio>

std::string FakeErrors::describe(uint32_t error) const {
  switch (error) {
    case 0:
      return "no error";
    case eOsNotFound:
      return "no such file";
    case eOsIoError:
      return "input or output failed";
    case eOsAccessDenied:
      return "access denied";
    case eOsNoSpace:
      return "the disk is full";
    default:
      break;
  }
  char text[32];
  std::snprintf(text, sizeof text, "error 0x%x", error);
  return text;
}
