#include "fsys/MediaFileInfo.h"

#include <utility>

#include "fsys/ProxyName.h"
#include "platform/CriticalSection.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"

static_assert(sizeof(MediaFileInfo) <= 88, "a catalogue holds a million of them");

namespace {

using Text = LightweightString<wchar_t>;

// Guards the linked name of every info: taken for no longer than a text's handle is copied or
// swapped, and nothing is called or freed while it is held. One for all keeps them small.
CriticalSection& linkedNames() {
  static CriticalSection& lock = *new CriticalSection;  // infos may outlive any static object
  return lock;
}

// What stands where a link that is of no use would be made.
enum ePlace {
  eFree,     // nothing
  eAtStake,  // what it could take the place of, or nobody can tell
  eMedia,    // what createLink refuses and reports
};

ePlace placeAt(const Text& path) {
  uint64_t bytes = 0;
  if (OS()->getFileManager()->getFileSize(path, bytes))
    return bytes > MaterialLink::kBytes ? eMedia : eAtStake;
  return OS()->getErrors()->getLastError() == eOsNotFound ? eFree : eAtStake;
}

}  // namespace

MediaFileInfo::MediaFileInfo(const MaterialFilename& name, unsigned long size)
    : name_(name), size_(size) {
  readProxyFacts();
}

MediaFileInfo::MediaFileInfo(const MaterialFilename& name, const Text& linked, unsigned long size)
    : name_(name), linkState_(eFinal), linked_(linked), size_(size) {
  readProxyFacts();
}

MediaFileInfo::MediaFileInfo(const MediaFileInfo& other)
    : Qv::InternalRefCount(other),
      iObject(other),
      MaterialLink(other),
      name_(other.name_),
      proxyHeight_(other.proxyHeight_),
      proxyAudioChannels_(other.proxyAudioChannels_),
      size_(other.size_),
      spare_(other.spare_) {
  copyLink(other);
}

MediaFileInfo& MediaFileInfo::operator=(const MediaFileInfo& other) {
  if (this == &other) return *this;
  name_ = other.name_;
  proxyHeight_ = other.proxyHeight_;
  proxyAudioChannels_ = other.proxyAudioChannels_;
  size_ = other.size_;
  spare_ = other.spare_;
  copyLink(other);
  return *this;
}

void MediaFileInfo::readProxyFacts() {
  if (!isProxy()) return;
  proxyHeight_ = getProxyHeight(name_.getPath());
  proxyAudioChannels_ = getProxyAudioChannels(name_.getPath());
}

void MediaFileInfo::copyLink(const MediaFileInfo& other) {
  linked_ = Text();
  linkState_.store(other.finalLinked(linked_) ? eFinal : eNotRead);
}

unsigned MediaFileInfo::setMaterialFilename(const MaterialFilename& name) {
  name_ = name;
  return 1;
}

Text MediaFileInfo::getLinkFileName() const { return name_.getOsPath(); }

// Without the lock it could be seen as not read while another name is set.
bool MediaFileInfo::finalLinked(Text& linked) const {
  CriticalSectionLock lock(linkedNames());
  if (linkState_.load() != eFinal) return false;
  linked = linked_;
  return true;
}

unsigned MediaFileInfo::createLinkFile(bool replace) const {
  Text linked, path;
  if (!name_.getOsPathToChange(path)) return 0;
  (void)finalLinked(linked);
  const bool isOwn = linked == path;
  if (isOwn || linked.empty()) {
    const ePlace place = replace ? placeAt(path) : eFree;
    if (place == eAtStake || (place == eFree && isOwn)) return 0;
  }
  return createLink(path, linked, replace);
}

Text MediaFileInfo::readLinkedFilename() const {
  Text linked;
  if (finalLinked(linked)) return linked;
  getLinkedFilename(getLinkFileName(), linked);
  Text kept = linked;  // the former name afterwards: it goes behind the lock
  CriticalSectionLock lock(linkedNames());
  keepLinked(kept);
  return linked;
}

bool MediaFileInfo::isLinkRead() const {
  CriticalSectionLock lock(linkedNames());
  return linkState_.load() == eFinal;
}

void MediaFileInfo::setLinkedFilename(const Text& linked) const {
  Text kept = linked;
  CriticalSectionLock lock(linkedNames());
  linkState_.store(eNotRead);
  keepLinked(kept);
}

void MediaFileInfo::keepLinked(Text& linked) const {
  uint32_t expected = eNotRead;
  if (!linkState_.compare_exchange_strong(expected, eBeingKept)) return;
  std::swap(linked_, linked);
  linkState_.store(eFinal);
}

Text MediaFileInfo::getPhysicalFilename(bool normalised) const {
  if (size_ != kBytes) return getLinkFileName();
  Text linked = readLinkedFilename();
  return normalised ? normalisedPath(linked) : linked;
}

void MediaFileInfo::forgetLinkedFilename(const Text& path) {
  Text kept;
  CriticalSectionLock lock(linkedNames());
  if (!linked_.empty() && !(linked_ == path)) return;
  std::swap(linked_, kept);
  linkState_.store(eNotRead);
}

// One of the older form has a height, too: the one that means none. A name may say that it is 0.
bool MediaFileInfo::wasProxy() const {
  return proxyHeight_ != 0 || getProxyHeight(name_.getPath()) == 0;
}

bool MediaFileInfo::isProxy(const Text& name) {
  if (getProxyHeight(name) != ProxyName::kNoHeight) return true;
  return ProxyName::isOlderForm(name.view()) && OS()->getFileManager()->exists(name);
}

unsigned MediaFileInfo::getProxyHeight(const Text& name) { return ProxyName::height(name.view()); }

unsigned MediaFileInfo::getProxyAudioChannels(const Text& name) {
  return ProxyName::audioChannels(name.view());
}

Text MediaFileInfo::makeProxyName(Text name, Text extension, unsigned height,
                                  unsigned char channels) {
  return Text(std::wstring_view(
      ProxyName::make(stripExtension(name).view(), extension.view(), height, channels)));
}
