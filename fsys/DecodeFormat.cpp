#include "fsys/DecodeFormat.h"

#include "platform/Check.h"

namespace {

constexpr uint32_t kNoHeight = 0xFFFFFFFF;

DecodeFormat theDefault(eHighRes);

// The condition's text is fixed, and so is its name.
bool isLevel(eProxyLevel proxyLevel_, const char* place) {
  return FSYS_CHECK(proxyLevel_ == eAuto || proxyLevel_ == eHighRes || proxyLevel_ == eProxy,
                    place);
}

}  // namespace

DecodeFormat::DecodeFormat(eProxyLevel level)
    : Data(0, kNoHeight, Qv::Image::eFormatUnset, 0, 0, true), proxyLevel_(level) {}

DecodeFormat::DecodeFormat(const Qv::Image::Core::Data& data) : Data() { copyCoreData(data); }

DecodeFormat::DecodeFormat(const DecodeFormat& other) = default;

DecodeFormat& DecodeFormat::operator=(const DecodeFormat& other) {
  copyCoreData(other);
  proxyLevel_ = other.proxyLevel_;
  flag_ = other.flag_;
  return *this;
}

void DecodeFormat::copyCoreData(const Qv::Image::Core::Data& data) {
  setWidth(data.getWidth());
  setHeight(data.getHeight());
  setDataFormat(data.getDataFormat());
  setBitsPerComponent(data.getBitsPerComponent());
  setBitsPerPixel(data.getBitsPerPixel());
  setCoreDataSet(data.isCoreDataSet());
}

void DecodeFormat::setCoreData(const Qv::Image::Core::Data& data) {
  copyCoreData(data);
  (void)isLevel(proxyLevel_, "fsys/DecodeFormat line 65");
}

eProxyLevel DecodeFormat::getProxyLevel() const {
  (void)isLevel(proxyLevel_, "fsys/DecodeFormat line 73");
  return proxyLevel_;
}

void DecodeFormat::setProxyLevel(eProxyLevel level) {
  proxyLevel_ = level;
  (void)isLevel(proxyLevel_, "fsys/DecodeFormat line 82");
}

void DecodeFormat::setDefault(DecodeFormat format) { theDefault = format; }

DecodeFormat& DecodeFormat::getDefault() { return theDefault; }
