#pragma once

#include <cstdint>

#include "platform/iObject.h"

struct LayoutPeer;

namespace Qv::Image {

// How the pixels of a picture are laid out; the numbers are the image library's.
enum Format : uint32_t { eFormatUnset = 0xFFFFFFFF };

namespace Core {

// Data: size and layout of a picture.
// Threads    a value; one at a time while it changes.
// Units      pixels and bits.
class PLATFORM_EXPORT Data : public iObject {
public:
  // No size, the unset format, no depth; the set flag is false.
  Data() = default;
  Data(uint32_t width, uint32_t height, Format format, uint16_t bitsPerComponent,
       uint16_t bitsPerPixel, bool isSet)
      : width_(width),
        height_(height),
        format_(format),
        bitsPerComponent_(bitsPerComponent),
        bitsPerPixel_(bitsPerPixel),
        isSet_(isSet) {}

  virtual uint32_t getWidth() const { return width_; }
  virtual void setWidth(uint32_t width) { width_ = width; }
  virtual uint32_t getHeight() const { return height_; }
  virtual void setHeight(uint32_t height) { height_ = height; }
  virtual Format getDataFormat() const { return format_; }
  virtual void setDataFormat(Format format) { format_ = format; }
  virtual uint16_t getBitsPerComponent() const { return bitsPerComponent_; }
  virtual void setBitsPerComponent(uint16_t bits) { bitsPerComponent_ = bits; }
  virtual uint16_t getBitsPerPixel() const { return bitsPerPixel_; }
  virtual void setBitsPerPixel(uint16_t bits) { bitsPerPixel_ = bits; }
  virtual bool isCoreDataSet() const { return isSet_; }
  virtual void setCoreDataSet(bool isSet) { isSet_ = isSet; }

private:
  friend struct ::LayoutPeer;

  // Fixed order.
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  Format format_ = eFormatUnset;
  uint16_t bitsPerComponent_ = 0;
  uint16_t bitsPerPixel_ = 0;
  bool isSet_ = false;
};

}  // namespace Core
}  // namespace Qv::Image
