#pragma once

#include <cstdint>
#include <list>

#include "fsys/DecodeFormat.h"
#include "fsys/DriveId.h"
#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "fsys/MediaFileInfo.h"
#include "platform/Cookie.h"
#include "platform/LightweightString.h"
#include "platform/QvResult.h"
#include "platform/SmallLock.h"
#include "platform/iObject.h"

// FsysDirectoryEntry: the files of one piece of media: the one of high resolution, and its proxies.
// Story      The catalogue makes an entry with the first file of a cookie and adds the others to
//            it. From then on the entry says which file serves a format, and whether the files are
//            there: each is looked for once, when somebody asks first. It turns files into links
//            and back, and deletes them with what lies beside them.
// Threads    any, several at once, but for getProxyFiles. Its lock guards every field for a few
//            lines, in which nothing but the heap is called, and the lock of linked names taken: it
//            comes after every other lock but that one. What
//            has to be asked of a disk is asked about a copy without the lock, and the answer is
//            kept if that file still has none. So a silent drive holds up who asks about it, and
//            nobody else.
// Ownership  shared by Qv::Ptr; one that was taken out of the catalogue stays whole.
// Units      bytes; heights in lines. `mediaTypes`: eHighRes, eProxy or both.
// Waits      what asks the disk waits for it as long as it takes.
// Errors     the failed checks are reported and the work goes on. A file that is not there is an
//            empty path or a status, never a failure. Deleting answers 1 or the system's error.
//            std::bad_alloc: nothing changed, but files that were deleted by then are gone, and
//            the entry still has them; and a proxy that could not be added stays under the sound
//            cookies that it got by then.
// States     of each file (MediaFileInfo::eStatus):
//            eNotProbed  a file as it was added; a link          probed once, then one of the next
//            eMissing    it, or where it leads to, is not there  stays
//            ePresent    it is there                             stays
//            A file of high resolution that is added is ePresent at once, unless it is a link. One
//            that there is none of is probed to be eMissing.
// Kept       a size of 512 bytes is a link, whatever is in the file
//            (FsysDirectoryEntryTest.AFileOf512BytesCountsAsALink). A link is ignored beside real
//            media (FsysDirectoryEntryAddTest.ALinkNeverTakesThePlaceOfRealMedia). The file that
//            another replaces becomes a proxy only while there are none
//            (FsysDirectoryEntryAddTest.ADisplacedFileIsLostWhereThereAreProxies). findProxy takes
//            the first that is high enough, not the lowest, and whether it is there or not
//            (FsysDirectoryEntryFindTest.TheFirstProxyThatIsHighEnoughServes,
//            AProxyServesWhetherItIsThereOrNot). A name with a negative height makes
//            a proxy that is high enough for any
//            (FsysDirectoryEntryFindTest.AProxyOfANegativeHeightServesForAny). Of proxies
//            alone updateStatus answers 2 or 0
//            (FsysDirectoryEntryStatusTest.OfProxiesAloneTheAnswerIs2Or0). updateFileSize sees the
//            link itself, not its target
//            (FsysDirectoryEntryStatusTest.TheSizeOfALinkIsItsOwn). A proxy that is a link is
//            forgotten by its target, and so not by removeFile
//            (FsysDirectoryEntryRemoveTest.ALinkedProxyIsForgottenByItsTargetAlone). Sound cookies
//            end at channel 255, whatever number of channels a name has
//            (FsysDirectoryEntrySoundTest.SoundCookiesEndAtChannel255).
class FSYS_EXPORT FsysDirectoryEntry : public virtual iObject {
public:
  using Text = LightweightString<wchar_t>;

  FsysDirectoryEntry();
  ~FsysDirectoryEntry() override;
  FsysDirectoryEntry(const FsysDirectoryEntry&) = delete;
  FsysDirectoryEntry& operator=(const FsysDirectoryEntry&) = delete;

  // What it has.

  // Of the file of high resolution, as all that follows to the next heading; 0 without one.
  uint64_t fileSize() const;
  // The path to open. `normalised`: as MediaFileInfo's.
  Text getPhysicalFilename(bool normalised) const;
  // Where the link leads; of a file that is none, its own path.
  Text getLinkedFilename() const;
  // The last part of the path to open, and of the file's own path.
  Text getName() const;
  Text getLinkFileName() const;
  // Whether its size is a link's.
  bool isLinked() const;
  bool hasHighRes() const;
  // '0' without one.
  DriveId highResDrive() const;

  // In the order in which they were added. The reference may be used while nobody changes the
  // entry, and asks nothing of it; others take a copy.
  const std::list<MediaFileInfo>& getProxyFiles() const;
  void copyProxyFiles(std::list<MediaFileInfo>& files) const;
  bool hasProxies() const;

  // The file of high resolution, else the first proxy, else a missing name.
  MaterialFilename primaryFilename() const;

  // Which file serves. These look once for what was not looked for yet, and ask nothing of the
  // system when all is known.

  // The first proxy of at least that height: the first of all for 0. Empty when there is none.
  Text findProxy(unsigned height) const;
  // eProxy: the first proxy. eAuto, when a height is wanted: a proxy of at least that. Else the
  // file of high resolution if it is there, and the first proxy if not. Empty when there is none.
  Text findFileForCookie(const DecodeFormat& format) const;
  // 1 of high resolution alone: that file's status. 2 of proxies alone: ePresent if one is there,
  // else 0. 3: eMissing when there are proxies and none is there, or when there is a file of high
  // resolution that is not there; else ePresent. Anything else is reported, and answered as 3.
  unsigned updateStatus(unsigned mediaTypes);
  // Reads the size of the file of high resolution anew; one without a size is reported.
  void updateFileSize();

  // Adding and forgetting. Nothing on the disk changes.

  // Adds a file. One of high resolution takes the place of the former. A proxy with sound that is
  // new here is added to the catalogue under the sound cookies of its channels, too: the caller
  // holds the catalogue's lock.
  void addFile(const Cookie& cookie, const MediaFileInfo& info);
  // The same where it is known whether the file is a proxy: of one of the older form that is a
  // question to the disk.
  void addFile(const Cookie& cookie, const MediaFileInfo& info, bool isProxy);
  // Appends a proxy, unless one of that name, drive and height is there.
  void addProxyFile(const MediaFileInfo& info);
  // Forgets the file of that name.
  void removeFile(const MediaFileInfo& info);
  // Forgets the proxies whose path to open is that.
  void removeProxyFile(const Text& name);
  // Gives the first proxy of the path `from` the path `to`: on the drive that holds it, or as it
  // stands on none. NotFound, and reported, when there is no such proxy.
  QvResult renameProxyFile(const Text& from, const Text& to);

  // Links.

  // Where the file of high resolution leads from now on, to the catalogue. Nothing is written.
  void setLinkedFilename(const Text& name) const;
  // Writes the link files of all its files, over what is there if `replace`. What cannot be written
  // is passed over.
  void realiseLinks(bool replace);
  // The file of high resolution lies on that drive from now on. Reported, but done: when there are
  // proxies, the drive is none, or the file is a link to something that exists. 1.
  unsigned updateLinks(const DriveId& destDrive);

  // Deleting: 1, or the system's error.

  // Deletes that file and those beside it, whose names are its own, a dot, and anything; nothing
  // lies beside a path that ends in a separator. When it is a link to a file in a folder below its
  // own, that whole folder goes first, unless its own path has '.' or '..' in it or names a
  // symbolic link. All that goes lies in one folder, the file's own. What goes wrong there or
  // beside it is not told. Where such a link is gone when the deletion begins (eOsNotFound), or is
  // another file (eOsInvalid), nothing goes; nor does anything of a file whose drive is not
  // registered any more (eOsNotFound).
  uint32_t deleteFile(const MaterialFilename& file);
  // Deletes the files of those types, proxies first, and forgets them, whether or not they could be
  // deleted. The last error counts. No type is reported, and 1.
  uint32_t deleteFiles(unsigned mediaTypes);

private:
  friend struct LayoutPeer;

  using Files = std::list<MediaFileInfo>;

  static bool isPresent(const MediaFileInfo& file);
  static bool isSameName(const MediaFileInfo& a, const MediaFileInfo& b);
  static bool isSameProxy(const MediaFileInfo& a, const MediaFileInfo& b);
  // Also of the same size: a copy is told from another of its name.
  static bool isSameFile(const MediaFileInfo& a, const MediaFileInfo& b);
  static void keepAnswers(MediaFileInfo& own, const MediaFileInfo& asked, const Text& target);

  // These take the lock. The files are copies.
  MediaFileInfo highResFile() const;
  // Whether there is one that `matches`, and the first.
  template <typename Match>
  bool takeProxy(const Match& matches, MediaFileInfo& file) const;
  // What was learned of a copy is kept, unless the file is another by now or all is known.
  void keepHighRes(const MediaFileInfo& asked) const;
  void keepProxy(const MediaFileInfo& asked) const;
  void addHighRes(const MediaFileInfo& info);
  static void addSound(const Cookie& cookie, const MediaFileInfo& info);
  // False when it is there already.
  bool append(const MediaFileInfo& info);
  // Whether it is the one of that name.
  bool forgetHighRes(const MediaFileInfo& file);
  void forgetProxies(const Files& files);

  // These ask the disk, without the lock.
  MediaFileInfo probedHighRes() const;
  void probeProxies() const;
  uint32_t deleteProxies();
  uint32_t deleteHighRes();

  // Fixed order, but for the lock, which fits into the room that the first one leaves at its end.
  // Mutable: what was asked of the disk is kept by whoever asked first.
  [[no_unique_address]] mutable MediaFileInfo highResFile_ GUARDED_BY(lock_);
  mutable SmallLock lock_;
  mutable Files proxyFiles_ GUARDED_BY(lock_);
};
