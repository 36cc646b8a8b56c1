#include "platform/dialog/dialog_protocol.h"

namespace quelto::platform::dialog {
namespace {

constexpr std::size_t lengthSize = 4;

}  // namespace

std::string frameOf(const PropertyListDictionary& dictionary) {
  const std::string payload = binaryPropertyList(dictionary);
  if (payload.empty()) return "";
  std::string frame;
  for (std::size_t byte = 0; byte < lengthSize; ++byte) {
    frame += static_cast<char>(payload.size() >> (8 * byte) & 0xFF);
  }
  return frame + payload;
}

std::optional<std::uint32_t> FrameReader::length() const {
  if (buffer_.size() < lengthSize) return std::nullopt;
  std::uint32_t length = 0;
  for (std::size_t byte = 0; byte < lengthSize; ++byte) {
    length |= std::uint32_t{static_cast<unsigned char>(buffer_[byte])} << (8 * byte);
  }
  return length;
}

bool FrameReader::isBroken() const { return length().value_or(0) > maximumLength; }

std::optional<PropertyListDictionary> FrameReader::next() {
  const auto length = this->length();
  if (!length || isBroken() || buffer_.size() - lengthSize < *length) return std::nullopt;
  const std::string payload = buffer_.substr(lengthSize, *length);
  buffer_.erase(0, lengthSize + *length);
  return parsePropertyList(payload).value_or(PropertyListDictionary());
}

}  // namespace quelto::platform::dialog
