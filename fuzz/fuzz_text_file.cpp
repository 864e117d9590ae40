// Text files: any bytes are lines or are refused, and what is saved is read back line for line.

#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/TextFile.h"
#include "platform/fake/FakeOSScope.h"

namespace {

const PathString kName = L"/p/list.txt";

Lines::Texts linesOf(const TextFile& file) {
  Lines::Texts lines;
  for (size_t i = 0; i < file.lineCount(); ++i) lines.emplace_back(file[i].view());
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FakeOSScope os;
  InputBytes input(data, size);
  const unsigned ending = input.flag() ? TextFile::eCarriageReturnLineFeed : TextFile::eLineFeed;
  const std::string added(input.text());
  const std::string text(input.rest());
  Lines::put(os->files(), kName, text);
  TextFile file(kName);
  const bool isText = !Lines::hasZero(text);
  require((file.load() == TextFile::eLoaded) == isText, "what has no zero in it is a text");
  require(file.lineCount() == 0 || linesOf(file) == Lines::in(text), "lines are the file's bytes");

  Lines::Texts lines = linesOf(file);
  const bool isLine = file.appendLine(LightweightString<char>(std::string_view(added)));
  if (isLine) lines.push_back(added);
  require(linesOf(file) == lines, "a line is appended, and what is none is not");
  require(file.save(ending) == isText, "what could be read can be saved");
  if (!isText) require(Lines::bytesOf(os->files(), kName) == text, "what is no text stays");
  if (!isText) return 0;
  const std::string saved = Lines::bytesOf(os->files(), kName);
  require(Lines::in(saved) == lines, "the file has the lines");
  TextFile again(kName);
  require(again.load() == TextFile::eLoaded && linesOf(again) == lines, "lines come back");
  require(again.save(ending) && Lines::bytesOf(os->files(), kName) == saved,
          "what was saved is saved the same again");
  return 0;
}
