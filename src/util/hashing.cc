#include "util/hashing.h"

#include <algorithm>

#include "platform/crypto/base64.h"
#include "platform/crypto/digest.h"
#include "platform/text/utf8.h"

namespace quelto::util {
namespace {

/// Of 32 bytes in Base64.
constexpr std::size_t characters = 44;

std::optional<std::string> base64DigestOf(std::string_view text) {
  if (!platform::isValidUtf8(text)) return std::nullopt;
  const auto digest = sha256data(text);
  return digest ? platform::base64(*digest) : std::nullopt;
}

}  // namespace

std::optional<std::string> sha256data(std::string_view bytes) { return platform::sha256(bytes); }

std::string sha256base64(std::string_view text, Sha256Text form) {
  auto digest = base64DigestOf(text);
  if (!digest) return std::string(characters, '-');
  if (form.secure) {
    std::ranges::replace(*digest, '/', '_');
    std::ranges::replace(*digest, '+', '-');
    std::ranges::replace(*digest, '=', ',');
  }
  return std::move(*digest);
}

}  // namespace quelto::util
