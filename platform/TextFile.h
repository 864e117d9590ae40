#pragma once

#include <string_view>

#include "platform/LightweightString.h"
#include "platform/PathHelpers.h"
#include "platform/PlatformExport.h"
#include "platform/Vector.h"

// TextFile: a small text file, line by line.
// Story      Made empty for a name, or loaded; changed in memory; saved whole. A save replaces the
//            file in one step: whoever reads it, also after a crash at any moment, finds the old
//            lines or the new ones. What an interrupted save left behind is removed by the next
//            one.
// Threads    one at a time.
// Units      at most kMostBytes in a file; lines count from 0.
// Errors     load, save and remove answer; the thread's last error says why. A drive that does not
//            answer within kPatience_ms is a failure (eOsTimedOut); a save that was given up so may
//            still happen later, with the lines that were to be saved.
//            After a load that failed there are no lines, and save refuses (eOsInvalid) until a
//            load goes well: what could not be read is not replaced.
class PLATFORM_EXPORT TextFile {
public:
  static constexpr uint64_t kMostBytes = uint64_t{16} << 20;
  static constexpr unsigned kPatience_ms = 1500;
  enum eEndOfLine : unsigned { eLineFeed = 1, eCarriageReturnLineFeed = 2 };
  enum eLinks : unsigned { eFollowLinks, eReplaceLinks };
  enum eLoad : unsigned { eLoaded, eMissing, eFailed };

  explicit TextFile(const PathString& name) : name_(name) {}

  // Replaces the lines by those of the file. Lines end in LF or CRLF; the last one need not. A byte
  // order mark before the first is no part of it. A missing file has no lines (eOsNotFound). A
  // folder, a file that is no regular one, one of more than kMostBytes (eOsTooLarge) or with a NUL
  // in it (eOsInvalid) is a failure.
  eLoad load();
  // Writes every line with an ending of that style. With eFollowLinks a name that is a link leads
  // to the file that is replaced; with eReplaceLinks the link itself is. An old file's mode stays.
  // What load would not read is not replaced, and not written (more than kMostBytes: eOsTooLarge).
  // False also when the file was replaced, but may not survive a loss of power.
  bool save(unsigned endOfLine = eLineFeed, eLinks links = eFollowLinks);
  // Removes the file. True as well when there is none.
  bool remove();

  const PathString& name() const { return name_; }
  size_t lineCount() const { return lines_.size(); }
  // Bytes as they stand in the file, meant as UTF-8. An index past the end gives an empty line.
  LightweightString<char> operator[](size_t line) const;
  // False, and nothing appended, for a text that is no line (isLine).
  bool appendLine(const LightweightString<char>& line);
  // A line past the end is none.
  void removeLine(size_t line);

  // Whether a text can stand on one line and be read back: no LF, no CR at its end, no NUL.
  static bool isLine(std::string_view text);

private:
  PathString name_;
  Vector<LightweightString<char>> lines_;
  bool failedToLoad_ = false;
};
