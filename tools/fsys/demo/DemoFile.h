#pragma once

#include <cstdint>
#include <string>

#include "fsys/MaterialFilename.h"
#include "platform/Cookie.h"

// DemoFile: a file of the day: what it is made from, and where it ought to lie.
// Units      bytes, lines of a picture.
struct DemoFile {
  Cookie cookie;
  std::string source;  // what every byte is compared with
  uint64_t bytes = 0;
  uint32_t height = 0;    // of a proxy
  uint32_t channels = 0;  // of a proxy

  MaterialFilename name;  // on its drive, once it is there
  std::string path;       // the same as a path; empty until then
  std::string target;     // where it leads as a link; empty: it is none
  std::string beside;     // the file that lies beside it; empty: there is none

  // What is opened for it.
  const std::string& opened() const { return target.empty() ? path : target; }
  // Without its dot.
  std::string extension() const;
  // It lies there from now on.
  void setName(const MaterialFilename& there);
  // It is deleted, with what lay beside it.
  void forgetName();
};
