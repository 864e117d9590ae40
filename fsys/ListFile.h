#pragma once

#include <cstddef>

#include "platform/LightweightString.h"
#include "platform/TextFile.h"

// ListFile: a list of paths in a text file, one a line.
// Story      Read when it is made, changed in memory, and saved whole.
// Threads    one at a time; two must not change the same file at once.
// Errors     said in the log, once each. A list that cannot be read has no lines and is never
//            written; one that cannot be saved stays whole, and almost always as it is.
class ListFile {
public:
  using Text = LightweightString<wchar_t>;

  // Whether a text can stand on one line and be read back.
  static bool isEntry(const Text& text);

  explicit ListFile(const Text& name);

  size_t count() const { return file_.lineCount(); }
  // As it stands in the file.
  LightweightString<char> bytes(size_t line) const { return file_[line]; }
  Text operator[](size_t line) const { return fromUTF8(file_[line].view()); }
  // False, and nothing appended, for what is no entry.
  bool append(const Text& text);
  void removeLine(size_t line) { file_.removeLine(line); }
  void save();
  // Removes the file.
  void remove();

private:
  void sayUnsaved() const;

  TextFile file_;
  bool isReadable_;
};
