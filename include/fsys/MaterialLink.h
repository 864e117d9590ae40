#pragma once

#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "platform/LightweightString.h"

// MaterialLink: small files that stand in a media folder for media elsewhere.
// Story      A link is exactly kBytes long and does not begin with "RIFF": the path of the media in
//            UTF-8, a zero, and zeros to its end. A path that is itself a link's is not followed
//            further: one level. What is served (iFileManager::isServed) is never a link. A link is
//            made whole: it is written beside its place, as a file whose name ends in ".partial",
//            when something may stand there already.
// Threads    any; there is no state. Waits for the file's drive.
// Units      bytes.
// Errors     false or 0, and nothing is said, save one assertion in createLink. The thread's last
//            error says why a file could not be looked at, opened, read or written.
// Kept       a link's size alone, and not its content, tells whether a file may be replaced by one
//            (MaterialLinkTest.MediaOf512BytesIsReplacedByALink).
class FSYS_EXPORT MaterialLink {
public:
  static constexpr uint32_t kBytes = 512;

  // Makes the file `linkPath` a link to `target`: 1, and its content is on the disk, though its
  // name may not be yet, or 0, and what stood there stands there still. An empty target gives a
  // link that leads nowhere. Refused before anything is opened: a path without a last part, with
  // eOsInvalid as the error, and one that is served, with eOsNotSupported; a target of kBytes bytes
  // or more, one that is no name (toPathBytes), and one that begins with "RIFF". A target of
  // kBytes - 1 bytes is taken, but cannot be read back. Without `replace` a path that exists is
  // left alone. With it an existing file is replaced, which takes the right to write it and to make
  // files in its folder; a symbolic link is replaced itself, not written through. A file of more
  // than kBytes is media: it is never emptied, the assertion "false" is reported, and the answer is
  // 0.
  static unsigned createLink(const LightweightString<wchar_t>& linkPath,
                             const LightweightString<wchar_t>& target, bool replace);
  // False also for a file of that size that cannot be read.
  static bool isLink(const LightweightString<wchar_t>& path);
  // Whether the path is a link; `result` is its target then. Otherwise `result` is the path itself,
  // or empty for a file of kBytes that cannot be read or has no zero in its first kBytes - 1.
  static bool getLinkedFilename(const LightweightString<wchar_t>& path,
                                LightweightString<wchar_t>& result);
  // What getLinkedFilename gives for the file's path, whether or not it is a link.
  static LightweightString<wchar_t> resolveLink(const MaterialFilename& name);
  // Whether the file is a link to something that exists here (localTarget). A target that does not
  // begin at the root of all counts as missing, and the engine does not open it: it would be
  // another file wherever this process happens to be.
  static bool linkedFileExists(const MaterialFilename& name);
  // Where a target lies on this machine: the network name of a file in one of its shares is the
  // path of that file; anything else stays as it stands.
  static LightweightString<wchar_t> localTarget(const LightweightString<wchar_t>& target);
};
