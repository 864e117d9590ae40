#pragma once

#include <string>

// DriveBay: where one of the day's drives is, and how it goes away and comes back.
// Errors     throws ToolErrors. Whatever ends it, the drive is back afterwards, or it is said on
//            standard error that it is not.
class DriveBay {
public:
  virtual ~DriveBay() = default;
  // What it is: "ext4 on /dev/loop0".
  virtual std::string kind() const = 0;
  // What is done to it when it goes away: "unmounted".
  virtual const char* way() const = 0;
  virtual void takeOut() = 0;
  virtual void putBack() = 0;

protected:
  DriveBay() = default;
  DriveBay(const DriveBay&) = delete;
  DriveBay& operator=(const DriveBay&) = delete;
};
