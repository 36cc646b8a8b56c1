#include "keychain/embedded/attribute_bytes.h"

#include <openssl/sha.h>

#include <array>
#include <cstdint>
#include <limits>

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

std::optional<Attributes> attributesFrom(std::string_view bytes) {
  Attributes attributes;
  while (!bytes.empty()) {
    const auto name = taken(bytes);
    const auto value = name ? taken(bytes) : std::nullopt;
    const bool isInOrder = value && (attributes.empty() || attributes.rbegin()->first < *name);
    if (!isInOrder) return std::nullopt;
    attributes.emplace_hint(attributes.end(), *name, *value);
  }
  return attributes;
}

std::int64_t hashOfValues(const Attributes& names, const Attributes& attributes) {
  std::string values;
  for (const auto& [name, ignored] : names) append(values, valueOrEmpty(attributes, name));
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
  if (SHA256(reinterpret_cast<const unsigned char*>(values.data()), values.size(), digest.data()) ==
      nullptr) {
    throw Failure(errSecIO);
  }
  // By value and not by memory, since the folder may be on a file server that unlike machines share.
  std::uint64_t hash = 0;
  for (std::size_t i = 0; i < sizeof hash; ++i) hash = hash << 8U | digest[i];
  return static_cast<std::int64_t>(hash);
}

std::string_view valueOrEmpty(const Attributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  return found != attributes.end() ? std::string_view(found->second) : std::string_view();
}

}  // namespace quelto::keychain::embedded
