#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quelto::platform {

/// What the Unicode module answers; the contracts are those of unicode.h. All but `characterBoundaries` take
/// valid UTF-8 only. No call takes more than 2^31 - 1 bytes. Thread-safe.
class UnicodeService {
 public:
  UnicodeService() = default;
  UnicodeService(const UnicodeService&) = delete;
  UnicodeService& operator=(const UnicodeService&) = delete;

  [[nodiscard]] virtual std::vector<std::size_t> characterBoundaries(std::string_view text) const = 0;
  [[nodiscard]] virtual bool isCanonicallyEqual(std::string_view one, std::string_view other) const = 0;
  [[nodiscard]] virtual std::string canonicalForm(std::string_view text) const = 0;
  [[nodiscard]] virtual std::string lowercased(std::string_view text) const = 0;
  [[nodiscard]] virtual std::string utf8FromUtf16(std::u16string_view text) const = 0;

 protected:
  ~UnicodeService() = default;
};

}  // namespace quelto::platform

/// The module's one entry. The service lives as long as the process.
extern "C" [[gnu::visibility("default")]] const quelto::platform::UnicodeService* queltoUnicodeService();
