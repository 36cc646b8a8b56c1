#include "platform/text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "platform/bundle/module.h"
#include "platform/text/unicode_service.h"
#include "platform/text/utf8.h"

namespace quelto::platform {
namespace {

char asciiLowercased(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](char byte) { return asciiLowercased(byte); });
  return result;
}

/// Null when the module is missing.
const UnicodeService* unicodeService() {
  static const auto* const service =
      moduleService<const UnicodeService>("libquelto_unicode.so", "queltoUnicodeService");
  return service;
}

/// The service, if there is one and it can take texts of this size.
const UnicodeService* serviceFor(std::size_t size) {
  return size <= std::numeric_limits<std::int32_t>::max() ? unicodeService() : nullptr;
}

/// The boundaries without Unicode's tables: each code point is a character, and so is CR LF.
std::vector<std::size_t> scalarBoundaries(std::string_view text) {
  std::vector<std::size_t> boundaries;
  boundaries.reserve(text.size() + 1);
  for (std::size_t at = 0; at < text.size();) {
    boundaries.push_back(at);
    at += text.substr(at).starts_with("\r\n") ? 2 : scalarAt(text, at).length;
  }
  boundaries.push_back(text.size());
  return boundaries;
}

}  // namespace

std::string utf8FromUtf16(std::string_view bytes, ByteOrder order) {
  const UnicodeService* service = serviceFor(bytes.size());
  if (service == nullptr) return "";
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const unsigned first = static_cast<unsigned char>(bytes[at]);
    const unsigned second = static_cast<unsigned char>(bytes[at + 1]);
    const unsigned unit = order == ByteOrder::bigEndian ? first << 8U | second : second << 8U | first;
    units.push_back(static_cast<char16_t>(unit));
  }
  return service->utf8FromUtf16(units);
}

std::vector<std::size_t> characterBoundaries(std::string_view text) {
  if (!isAscii(text)) {
    if (const UnicodeService* service = serviceFor(text.size())) {
      auto boundaries = service->characterBoundaries(text);
      if (!boundaries.empty()) return boundaries;
    }
  }
  return scalarBoundaries(text);
}

bool isCanonicallyEqual(std::string_view one, std::string_view other) {
  if (one == other) return true;
  // Some non-ASCII scalars are equivalent to ASCII ones (the Kelvin sign to K), so both must be ASCII here.
  if (isAscii(one) && isAscii(other)) return false;
  const UnicodeService* service = serviceFor(std::max(one.size(), other.size()));
  return service != nullptr && isValidUtf8(one) && isValidUtf8(other) &&
         service->isCanonicallyEqual(one, other);
}

std::string canonicalForm(std::string_view text) {
  const UnicodeService* service = isAscii(text) ? nullptr : serviceFor(text.size());
  return service != nullptr && isValidUtf8(text) ? service->canonicalForm(text) : std::string(text);
}

std::string lowercased(std::string_view text) {
  const UnicodeService* service = isAscii(text) ? nullptr : serviceFor(text.size());
  if (service == nullptr) return asciiLowercased(text);
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = at + wellFormedLength(text.substr(at));
    result += service->lowercased(text.substr(at, end - at));
    at = end;
    for (; at < text.size() && !scalarAt(text, at).wellFormed; at += scalarAt(text, at).length) {
      result += text.substr(at, scalarAt(text, at).length);
    }
  }
  return result;
}

}  // namespace quelto::platform
