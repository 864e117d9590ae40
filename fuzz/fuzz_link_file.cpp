// Link files: whatever bytes stand in one, and whatever target is asked for.

#include <algorithm>
#include <string>

#include "fsys/MaterialLink.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

const Text kFile = L"/m/clip.mov";

// What stands in the file is read as what it is, and nothing behind it.
void checkReading(FakeOSScope& os, const std::string& bytes) {
  Lines::put(os->files(), kFile, bytes);
  Text result;
  const bool isLink = MaterialLink::getLinkedFilename(kFile, result);
  const bool isMedia = bytes.size() != MaterialLink::kBytes || bytes.starts_with("RIFF");
  const size_t end = bytes.substr(0, MaterialLink::kBytes - 1).find('\0');
  require(MaterialLink::isLink(kFile) == !isMedia, "the size and the tag tell a link");
  require(isLink == (!isMedia && end != bytes.npos), "a link's text has an end");
  if (isLink) {
    require(toUTF8(result).view() == bytes.substr(0, end),
            "a target is the bytes that stand there");
  } else {
    require(result == (isMedia ? kFile : Text()), "media is its own target");
  }
  require(Lines::bytesOf(os->files(), kFile) == bytes, "who reads changes nothing");
}

// What is made leads where it should; what is refused changes nothing.
void checkMaking(FakeOSScope& os, const Text& target, bool replace) {
  const bool exists = os->files().hasFile(kFile);
  const std::string before = Lines::bytesOf(os->files(), kFile);
  std::string name;
  const bool isName = toPathBytes(target, name);
  const bool hasRoom = isName && name.size() < MaterialLink::kBytes && !name.starts_with("RIFF");
  const bool hasPlace = !exists || (replace && before.size() <= MaterialLink::kBytes);
  const bool isMade = MaterialLink::createLink(kFile, target, replace) == 1;
  require(isMade == (hasRoom && hasPlace),
          "a target that fits is written where nothing is, or over what is no larger than a link");
  const std::string after = Lines::bytesOf(os->files(), kFile);
  if (!isMade) {
    require(os->files().hasFile(kFile) == exists && after == before,
            "what was refused changes nothing");
    return;
  }
  require(after == name + std::string(MaterialLink::kBytes - name.size(), '\0'),
          "a link is its target and zeros");
  Text result;
  const bool isRead = MaterialLink::getLinkedFilename(kFile, result);
  require(isRead == (name.size() < MaterialLink::kBytes - 1), "511 bytes are too many");
  require(!isRead || result == target, "a target comes back");
}

void checkNothing() {
  Text result;
  require(!MaterialLink::isLink(kFile) && !MaterialLink::getLinkedFilename(kFile, result),
          "what is not there is no link");
  require(result == kFile, "and its own target");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  const bool replace = input.flag();
  const bool isWhole = input.flag();
  const bool isThere = input.flag();
  const size_t targetBytes = static_cast<size_t>(input.number(2));
  const std::string rest(input.rest());
  const Text target = fromUTF8(rest.substr(0, targetBytes));
  std::string bytes = rest.substr(std::min(targetBytes, rest.size()));
  if (isWhole) bytes.resize(MaterialLink::kBytes);
  os->files().addFolder(L"/m");
  if (isThere)
    checkReading(os, bytes);
  else
    checkNothing();
  checkMaking(os, target, replace);
  return 0;
}
