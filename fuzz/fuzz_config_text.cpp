// The configuration's text: whatever stands in the file, the last good line of a key counts, and
// nothing that is around it changes that.

#include <string>

#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/ConfigInt.h"
#include "tests/support/TestDiagnostics.h"

namespace {

constexpr const char* kKey = "Key";

int readFrom(const std::string& text, int otherwise) {
  return configIntFromText(text, "fuzz.conf", kKey, otherwise);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  InputBytes input(data, size);
  int number = static_cast<int>(input.number(4));
  std::string text(reinterpret_cast<const char*>(data), size);
  int one = readFrom(text, 7);
  int other = readFrom(text, 8);
  bool found = one == other;
  require(found || (one == 7 && other == 8), "a text has the number, or it has not");

  std::string line = "\n " + std::string(kKey) + " = " + std::to_string(number) + " # and a remark";
  require(readFrom(text + line, 7) == number, "the last line counts");
  require(readFrom(text + "\nOther = 5\n", 7) == one, "another key changes nothing");
  if (found) require(readFrom(line + "\n" + text, 7) == one, "an earlier line changes nothing");
  return 0;
}
