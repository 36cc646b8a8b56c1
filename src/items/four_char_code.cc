#include "items/four_char_code.h"

#include <algorithm>
#include <array>

#include "platform/text/utf8.h"
#include "util/strings.h"

namespace quelto::items {
namespace {

using FourBytes = std::array<std::uint8_t, 4>;

std::optional<FourBytes> bytesOf(std::optional<std::string_view> name) {
  const auto isAscii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  if (!name || name->size() != 4 || !std::ranges::all_of(*name, isAscii) ||
      util::characterCount(*name) != 4) {
    return std::nullopt;
  }
  FourBytes bytes{};
  std::ranges::transform(*name, bytes.begin(), [](char byte) { return static_cast<std::uint8_t>(byte); });
  return bytes;
}

std::uint32_t bigEndian(const FourBytes& bytes) {
  std::uint32_t code = 0;
  for (const std::uint8_t byte : bytes) code = code << 8U | byte;
  return code;
}

FourBytes bigEndian(std::uint32_t code) {
  return {static_cast<std::uint8_t>(code >> 24U), static_cast<std::uint8_t>(code >> 16U),
          static_cast<std::uint8_t>(code >> 8U), static_cast<std::uint8_t>(code)};
}

FourBytes reversed(FourBytes bytes) {
  std::ranges::reverse(bytes);
  return bytes;
}

std::string textOf(const FourBytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += platform::utf8Of(byte);
  return text;
}

}  // namespace

std::optional<SecProtocolType> createSecProtocolType(std::optional<std::string_view> name) {
  const auto bytes = bytesOf(name);
  return bytes ? std::optional(SecProtocolType{bigEndian(*bytes)}) : std::nullopt;
}

std::optional<SecAuthenticationType> createSecAuthenticationType(std::optional<std::string_view> name) {
  const auto bytes = bytesOf(name);
  return bytes ? std::optional(SecAuthenticationType{bigEndian(reversed(*bytes))}) : std::nullopt;
}

std::string fourCharString(SecProtocolType secProtocol) {
  return textOf(bigEndian(static_cast<std::uint32_t>(secProtocol)));
}

std::string fourCharString(SecAuthenticationType secAuthType) {
  return textOf(reversed(bigEndian(static_cast<std::uint32_t>(secAuthType))));
}

}  // namespace quelto::items
