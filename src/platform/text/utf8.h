#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// UTF-8 in which any byte may be wrong. An ill-formed part is cut as the Unicode standard says (section 3.9:
/// the maximal subpart). All functions are thread-safe.
namespace quelto::platform {

struct Scalar {
  char32_t value;
  /// Bytes that it takes; at least 1.
  std::size_t length;
  /// False for an ill-formed part; `value` is then U+FFFD.
  bool wellFormed;
};

/// The Unicode scalar that begins at byte `at`, which must lie inside the text.
[[nodiscard]] Scalar scalarAt(std::string_view text, std::size_t at);

[[nodiscard]] bool isAscii(std::string_view text);

[[nodiscard]] bool isValidUtf8(std::string_view text);

/// The number of bytes before the first ill-formed part; the text's size when there is none.
[[nodiscard]] std::size_t wellFormedLength(std::string_view text);

/// The scalar in UTF-8; U+FFFD for a number that is no scalar.
[[nodiscard]] std::string utf8Of(char32_t scalar);

/// The beginning of the text, `size` bytes at most; less when that would cut a well-formed scalar.
[[nodiscard]] std::string_view beginningOf(std::string_view text, std::size_t size);

}  // namespace quelto::platform
