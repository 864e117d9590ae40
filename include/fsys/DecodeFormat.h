#pragma once

#include <cstdint>

#include "fsys/Export.h"
#include "platform/ImageCoreData.h"

// Which file of a piece of media is wanted. The last two are also the bits of a set of media types.
enum eProxyLevel : uint32_t {
  eAuto = 0,     // what is there
  eHighRes = 1,  // the file in full resolution
  eProxy = 2,    // a substitute of less resolution
};

// DecodeFormat: the picture in which a piece of media is wanted, and from which of its files.
// Story      Passed by value wherever a file is chosen. The process has a default one, built as the
//            library is loaded: high resolution, of no size.
// Threads    a value. The default is set while the program starts, by one thread; after that any
//            thread may read it.
// Units      pixels and bits.
// Errors     a level that is none is reported on standard output, and kept
//            (DecodeFormatTest.ALevelThatIsNoneIsReportedAndKept).
// Kept       a format of a level has the height and the layout 4294967295, and counts as set
//            (DecodeFormatTest.AFormatOfALevelHasNoSizeButCountsAsSet). One of core data is of high
//            resolution whatever the default is
//            (DecodeFormatTest.AFormatOfCoreDataIsOfHighResolutionWhateverTheDefault).
class FSYS_EXPORT DecodeFormat : public virtual Qv::Image::Core::Data {
public:
  // No picture in particular, in high resolution.
  DecodeFormat() = default;
  explicit DecodeFormat(eProxyLevel level);
  explicit DecodeFormat(const Qv::Image::Core::Data& data);
  DecodeFormat(const DecodeFormat& other);
  DecodeFormat& operator=(const DecodeFormat& other);

  // Through the six setters, in their order. A level that is none is reported then.
  void setCoreData(const Qv::Image::Core::Data& data);
  eProxyLevel getProxyLevel() const;
  void setProxyLevel(eProxyLevel level);

  static void setDefault(DecodeFormat format);
  // Good until the library is unloaded.
  static DecodeFormat& getDefault();

private:
  friend struct LayoutPeer;

  void copyCoreData(const Qv::Image::Core::Data& data);

  // Fixed order.
  eProxyLevel proxyLevel_ = eHighRes;
  bool flag_ = false;  // nothing reads it
};
