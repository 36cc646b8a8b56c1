#include "platform/resources/strings_table.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include "platform/text/unicode.h"
#include "platform/text/utf8.h"

namespace quelto::platform {
namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr char32_t replacement = U'\uFFFD';

bool isWhitespace(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

bool isWordByte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
         std::string_view("_$:./-").find(byte) != std::string_view::npos;
}

bool isHexadecimalDigit(char byte) {
  return std::string_view("0123456789abcdefABCDEF").find(byte) != std::string_view::npos;
}

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// Reads well-formed UTF-8. An absent result means a syntax error at this place.
class StringsParser {
 public:
  explicit StringsParser(std::string_view text) : text_(text) {}

  StringsTable parse() {
    StringsTable table;
    while (skipBlanks() && !text_.empty()) {
      if (!parseEntry(table)) break;
    }
    return table;
  }

 private:
  bool parseEntry(StringsTable& table) {
    auto key = parseString();
    if (!key || !skipBlanks()) return false;
    auto value = key;
    if (take('=')) {
      if (!skipBlanks() || !(value = parseString()) || !skipBlanks()) return false;
    }
    if (!take(';')) return false;
    table.insert_or_assign(std::move(*key), std::move(*value));
    return true;
  }

  bool take(char byte) {
    if (!text_.starts_with(byte)) return false;
    text_.remove_prefix(1);
    return true;
  }

  /// Skips white space and comments; false when a comment does not end.
  bool skipBlanks() {
    for (;;) {
      text_.remove_prefix(std::min(text_.size(), lengthOf(isWhitespace)));
      if (text_.starts_with("//")) {
        text_.remove_prefix(std::min(text_.size(), text_.find_first_of("\r\n")));
      } else if (text_.starts_with("/*")) {
        const std::size_t end = text_.find("*/", 2);
        if (end == std::string_view::npos) return false;
        text_.remove_prefix(end + 2);
      } else {
        return true;
      }
    }
  }

  template <typename Predicate>
  [[nodiscard]] std::size_t lengthOf(Predicate belongs) const {
    return static_cast<std::size_t>(std::ranges::find_if_not(text_, belongs) - text_.begin());
  }

  std::optional<std::string> parseString() {
    if (text_.starts_with('"') || text_.starts_with('\'')) return parseQuoted();
    const std::size_t length = lengthOf(isWordByte);
    if (length == 0) return std::nullopt;
    std::string word(text_.substr(0, length));
    text_.remove_prefix(length);
    return word;
  }

  std::optional<std::string> parseQuoted() {
    const char quote = text_.front();
    const char stops[] = {quote, '\\'};
    text_.remove_prefix(1);
    std::string result;
    for (;;) {
      const std::size_t stop = text_.find_first_of({stops, sizeof stops});
      if (stop == std::string_view::npos) return std::nullopt;
      const bool isEnd = text_[stop] == quote;
      result += text_.substr(0, stop);
      text_.remove_prefix(stop + 1);
      if (isEnd) return result;
      if (text_.empty()) return std::nullopt;
      parseEscape(result);
    }
  }

  /// Takes what follows a "\": at least one byte.
  void parseEscape(std::string& result) {
    constexpr std::string_view names = "abfnrtv";
    constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
    const char byte = text_.front();
    if (byte >= '0' && byte <= '7') return append(result, takeNumber(3, 8));
    if ((byte == 'U' || byte == 'u') && text_.size() > 1 && isHexadecimalDigit(text_[1])) {
      text_.remove_prefix(1);
      return append(result, takeUtf16());
    }
    if (byte == '\n' || byte == '\r') result += '\\';
    const std::size_t index = names.find(byte);
    if (index != std::string_view::npos) {
      result += meanings[index];
      text_.remove_prefix(1);
    } else {
      const std::size_t length = scalarAt(text_, 0).length;
      result += text_.substr(0, length);
      text_.remove_prefix(length);
    }
  }

  char32_t takeNumber(std::size_t mostDigits, int base) {
    std::uint32_t number = 0;
    const std::string_view digits = text_.substr(0, mostDigits);
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    text_.remove_prefix(static_cast<std::size_t>(parsed.ptr - digits.data()));
    return number;
  }

  /// One UTF-16 unit, or two that are a surrogate pair; half a pair is U+FFFD.
  char32_t takeUtf16() {
    const char32_t unit = takeNumber(4, 16);
    if (!isHighSurrogate(unit)) return isLowSurrogate(unit) ? replacement : unit;
    const std::string_view before = text_;
    if (take('\\') && (take('U') || take('u'))) {
      if (const char32_t low = takeNumber(4, 16); isLowSurrogate(low)) {
        return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
      }
    }
    text_ = before;
    return replacement;
  }

  static void append(std::string& result, char32_t scalar) { result += utf8Of(scalar); }

  std::string_view text_;
};

/// The content in UTF-8, cut before the first ill-formed part.
std::string wellFormedText(std::string_view content) {
  if (content.starts_with("\xFE\xFF")) return utf8FromUtf16(content.substr(2), ByteOrder::bigEndian);
  if (content.starts_with("\xFF\xFE")) return utf8FromUtf16(content.substr(2), ByteOrder::littleEndian);
  if (content.starts_with(utf8Mark)) content.remove_prefix(utf8Mark.size());
  return std::string(content.substr(0, wellFormedLength(content)));
}

}  // namespace

StringsTable parseStringsTable(std::string_view content) {
  return StringsParser(wellFormedText(content)).parse();
}

}  // namespace quelto::platform
