#include "keychain/embedded/attribute_bytes.h"

#include <cstdint>
#include <limits>
#include <optional>

#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

constexpr std::size_t lengthSize = 4;

void append(std::string& bytes, std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw Failure(errSecParam);
  for (const unsigned shift : {24U, 16U, 8U, 0U}) bytes += static_cast<char>(text.size() >> shift & 0xFFU);
  bytes += text;
}

/// Takes one text off the front.
std::optional<std::string_view> taken(std::string_view& bytes) {
  if (bytes.size() < lengthSize) return std::nullopt;
  std::size_t length = 0;
  for (const char byte : bytes.substr(0, lengthSize))
    length = length << 8U | static_cast<unsigned char>(byte);
  bytes.remove_prefix(lengthSize);
  if (bytes.size() < length) return std::nullopt;
  const std::string_view text = bytes.substr(0, length);
  bytes.remove_prefix(length);
  return text;
}

}  // namespace

std::string bytesOf(const Attributes& attributes) {
  std::string bytes;
  for (const auto& [name, value] : attributes) {
    append(bytes, name);
    append(bytes, value);
  }
  return bytes;
}

bool readAttributes(std::string_view bytes, AttributeViews& attributes) {
  attributes.clear();
  while (!bytes.empty()) {
    const auto name = taken(bytes);
    const auto value = name ? taken(bytes) : std::nullopt;
    const bool isInOrder = value && (attributes.empty() || attributes.back().first < *name);
    if (!isInOrder) return false;
    attributes.emplace_back(*name, *value);
  }
  return true;
}

}  // namespace quelto::keychain::embedded
