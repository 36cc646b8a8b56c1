#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Text as the platform sees it: UTF-8 in which any byte may be wrong. A wrong part (cut as the Unicode
/// standard says, section 3.9: the maximal ill-formed one) counts like U+FFFD when characters are counted,
/// equals the same bytes only, and is never changed. All functions are thread-safe. Texts that are ASCII are
/// answered here; for others the Unicode module is opened on first use. Where that module is missing, each
/// code point is a character, equality is that of bytes, and only ASCII letters change case.
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

[[nodiscard]] bool isValidUtf8(std::string_view text);

/// How many bytes stand before the first ill-formed part; the text's size when there is none.
[[nodiscard]] std::size_t wellFormedLength(std::string_view text);

/// The scalar in UTF-8; U+FFFD for a number that is no scalar.
[[nodiscard]] std::string utf8Of(char32_t scalar);

/// The text as a window can show it: ill-formed parts and NULs become U+FFFD.
[[nodiscard]] std::string displayableText(std::string_view text);

/// The text as a terminal may be given it: as `displayableText`, and with "?" for each character that could
/// steer the terminal or reorder what it shows: control characters, line ends, and the marks of text
/// direction.
[[nodiscard]] std::string terminalText(std::string_view text);

/// The text as a field of one line gives it: without control characters and line ends, all else unchanged,
/// ill-formed parts too.
[[nodiscard]] std::string singleLineText(std::string_view text);

/// The text's beginning of at most `size` bytes, and less where that would cut a well-formed scalar.
[[nodiscard]] std::string_view beginningOf(std::string_view text, std::size_t size);

enum class ByteOrder { littleEndian, bigEndian };

/// The UTF-16 text that the bytes hold. Each half of a pair without the other is U+FFFD, an odd byte at the
/// end is passed over. Empty when the Unicode module is missing.
[[nodiscard]] std::string utf8FromUtf16(std::string_view bytes, ByteOrder order);

/// The byte offsets at which the text's extended grapheme clusters (UAX 29) begin, and its size as the last
/// entry. CR LF is one character.
[[nodiscard]] std::vector<std::size_t> characterBoundaries(std::string_view text);

/// Whether the texts are canonically equivalent (Unicode standard, section 3.7).
[[nodiscard]] bool isCanonicallyEqual(std::string_view one, std::string_view other);

/// Full lower-case mapping, independent of language.
[[nodiscard]] std::string lowercased(std::string_view text);

}  // namespace quelto::platform
