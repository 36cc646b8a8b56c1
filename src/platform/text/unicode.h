#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What needs the tables of the Unicode standard. An ill-formed part of a text counts like U+FFFD when
/// characters are counted, equals the same bytes only, and is never changed. Texts that are ASCII are
/// answered here; for others the Unicode module is opened on first use. Where that module is missing, each
/// code point is a character, equality is that of bytes, and only ASCII letters change case. All functions
/// are thread-safe.
namespace quelto::platform {

enum class ByteOrder { littleEndian, bigEndian };

/// The UTF-16 text in the bytes. Half a surrogate pair becomes U+FFFD, an odd byte at the end is ignored.
/// Empty when the Unicode module is missing.
[[nodiscard]] std::string utf8FromUtf16(std::string_view bytes, ByteOrder order);

/// The byte offsets at which the text's extended grapheme clusters (UAX 29) begin, and its size as the last
/// entry. CR LF is one character.
[[nodiscard]] std::vector<std::size_t> characterBoundaries(std::string_view text);

/// Whether the texts are canonically equivalent (Unicode standard, section 3.7).
[[nodiscard]] bool isCanonicallyEqual(std::string_view one, std::string_view other);

/// A text that is the same for all texts that `isCanonicallyEqual` calls equal, and for no other: the
/// canonical decomposition (Unicode standard, D68) of well-formed UTF-8, the bytes themselves of other text.
[[nodiscard]] std::string canonicalForm(std::string_view text);

/// Full lower-case mapping, independent of language.
[[nodiscard]] std::string lowercased(std::string_view text);

}  // namespace quelto::platform
