#pragma once

#include <atomic>
#include <cstdint>

#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "fsys/MaterialLink.h"
#include "platform/LightweightString.h"
#include "platform/iObject.h"

// MediaFileInfo: one media file of the catalogue.
// Story      Made of a name and a size when a folder is read, without a look at the file. A file of
//            512 bytes may be a link; where it leads is read once, when somebody asks, and kept. A
//            catalogue holds very many of these.
// Threads    what concerns the linked name (isLinkRead, readLinkedFilename, setLinkedFilename,
//            createLinkFile, getPhysicalFilename, a copy's source): any, on a shared object,
//            several at once. Everything else is plain data, guarded by its owner; what is assigned
//            to is its owner's alone.
// Ownership  a value, or shared. Copies share texts. The copy of an info whose link has not been
//            read is one whose link has not been read.
// Units      bytes, lines of a picture, channels.
// Errors     those of MaterialLink.
// States     of the link: 1 not read yet, 2 being kept, 0 final. 1 -> 2 -> 0; setLinkedFilename
//            goes that way anew, and forgetLinkedFilename back to 1.
// Kept       a proxy of the older form has the height 4294967295
//            (MediaFileInfoTest.AnOlderProxyHasTheHeightThatMeansNone). Its name is asked about as
//            it stands, without its drive
//            (MediaFileInfoTest.AnOlderProxyIsLookedForUnderItsNameWithoutItsDrive). What could not
//            be read is kept too (MediaFileInfoTest.ALinkThatCannotBeReadIsKeptAsLeadingNowhere).
class FSYS_EXPORT MediaFileInfo : public iObject, public MaterialLink {
public:
  // What is known of the file, or of the one that it leads to.
  enum eStatus : uint32_t { eNotProbed = 0, eMissing = 1, ePresent = 2 };

  MediaFileInfo() = default;
  MediaFileInfo(const MaterialFilename& name, unsigned long size);
  // A link that leads to `linked`.
  MediaFileInfo(const MaterialFilename& name, const LightweightString<wchar_t>& linked,
                unsigned long size);
  MediaFileInfo(const MediaFileInfo& other);
  MediaFileInfo& operator=(const MediaFileInfo& other);

  const MaterialFilename& getMaterialFilename() const { return name_; }
  // The drive and the path alone. Returns 1.
  unsigned setMaterialFilename(const MaterialFilename& name);
  uint64_t getSize() const { return size_; }
  void setSize(uint64_t size) { size_ = size; }
  // Of a proxy; 0 for a file that is none. They come from a name that anybody may have given: who
  // counts up to one of them sets a limit of his own.
  uint32_t proxyHeight() const { return proxyHeight_; }
  uint32_t proxyAudioChannels() const { return proxyAudioChannels_; }
  // An eStatus.
  uint32_t getStatus() const { return static_cast<uint32_t>(spare_); }
  void setStatus(uint32_t status) { spare_ = status; }

  // The file's own path, whether or not it is a link.
  LightweightString<wchar_t> getLinkFileName() const;
  // Makes that file a link to the linked name, as MaterialLink::createLink. Refused, with 0: a link
  // to itself, which is what the linked name of media says, one that leads nowhere in place of
  // anything, as long as it is not known that nothing is there, and, with eOsNotFound as the error,
  // any of a file whose drive is not registered.
  unsigned createLinkFile(bool replace) const;
  // Where the link leads. The first to have read it keeps it for all; one who reads at the same
  // time gets what he read himself.
  LightweightString<wchar_t> readLinkedFilename() const;
  // Whether readLinkedFilename answers without a look at the file.
  bool isLinkRead() const;
  // Replaces the linked name, and makes it final.
  void setLinkedFilename(const LightweightString<wchar_t>& linked) const;
  // The linked name counts as not read again, if it is that path or none: it was of another name.
  void forgetLinkedFilename(const LightweightString<wchar_t>& path);
  // The path to open: for a file of 512 bytes readLinkedFilename, with `normalised` without what
  // '.', '..' and doubled separators make of it; otherwise getLinkFileName.
  LightweightString<wchar_t> getPhysicalFilename(bool normalised) const;

  bool isProxy() const { return isProxy(name_.getPath()); }
  // Whether it was one when it was made. Nothing is asked.
  bool wasProxy() const;
  // Whether the name has a proxy's height, or the older form and a file. Only then is the system
  // asked.
  static bool isProxy(const LightweightString<wchar_t>& name);
  // 4294967295: the name carries none.
  static unsigned getProxyHeight(const LightweightString<wchar_t>& name);
  // 0: the name carries none.
  static unsigned getProxyAudioChannels(const LightweightString<wchar_t>& name);
  // The name of a proxy of the media file `name`; `extension` has no leading dot.
  static LightweightString<wchar_t> makeProxyName(LightweightString<wchar_t> name,
                                                  LightweightString<wchar_t> extension,
                                                  unsigned height, unsigned char channels);

private:
  friend struct LayoutPeer;

  enum LinkState : uint32_t { eFinal = 0, eNotRead = 1, eBeingKept = 2 };

  void readProxyFacts();
  void copyLink(const MediaFileInfo& other);
  // False, and `linked` left alone, while it is not final.
  bool finalLinked(LightweightString<wchar_t>& linked) const;
  // Swaps them, unless one is final.
  void keepLinked(LightweightString<wchar_t>& linked) const;

  // Fixed order.
  MaterialFilename name_;
  mutable std::atomic<uint32_t> linkState_{eNotRead};
  // Guarded by the lock of linked names, but in a copy that is being made or assigned to: until
  // that is done it is its owner's alone.
  mutable LightweightString<wchar_t> linked_;
  uint32_t proxyHeight_ = 0;
  uint32_t proxyAudioChannels_ = 0;
  uint64_t size_ = 0;
  uint64_t spare_ = 0;  // the status, in its low half
};
