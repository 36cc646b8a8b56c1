#include "ini/ini_writer.h"

#include <algorithm>

#include "platform/text/unicode.h"
#include "platform/text/utf8.h"
#include "util/lines.h"
#include "util/strings.h"

namespace quelto::ini {
namespace {

bool needsQuotes(std::string_view text) { return text.starts_with(' ') || text.ends_with(' '); }

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string quotedIfNeeded(std::string_view text) {
  return needsQuotes(text) ? quoted(text) : std::string(text);
}

std::size_t skipWhitespace(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const platform::Scalar scalar = platform::scalarAt(text, at);
    if (!scalar.wellFormed || !util::isWhitespaceOrNewline(scalar.value)) break;
    at += scalar.length;
  }
  return at;
}

/// How many characters a piece of the value has when it is wrapped; absent for a plain line. Key and value
/// have their quotes.
std::optional<std::int64_t> pieceLength(std::string_view key, std::string_view value,
                                        std::optional<std::int64_t> lineLen) {
  constexpr std::int64_t besidePlain = 3;  // " = "
  constexpr std::int64_t besidePiece = 7;  // also the quotes and " ^"
  // No text has more characters than bytes.
  if (!lineLen || static_cast<std::int64_t>(key.size() + value.size()) + besidePlain <= *lineLen) {
    return std::nullopt;
  }
  const std::int64_t keyLength = util::characterCount(key);
  if (*lineLen <= keyLength + besidePiece) return std::nullopt;
  if (util::characterCount(value) <= *lineLen - keyLength - besidePlain) return std::nullopt;
  return *lineLen - keyLength - besidePiece;
}

/// Cuts off `length` characters and the whitespace behind them, again and again; each piece is trimmed. The
/// characters are counted once: where a piece begins at the mark of a stripped blank, the mark counts as the
/// character that both were.
std::vector<std::string_view> piecesOf(std::string_view value, std::int64_t length) {
  const std::vector<std::size_t> boundaries = platform::characterBoundaries(value);
  std::vector<std::string_view> pieces;
  std::size_t character = 0;
  std::size_t begin = 0;
  do {
    const std::size_t left = boundaries.size() - 1 - character;
    const std::size_t last = character + std::min(static_cast<std::size_t>(length), left);
    pieces.push_back(util::trim(value.substr(begin, boundaries[last] - begin)));
    begin = skipWhitespace(value, boundaries[last]);
    for (character = last; character + 1 < boundaries.size() && boundaries[character + 1] <= begin;)
      ++character;
  } while (begin < value.size());
  return pieces;
}

void appendEntry(std::string& out, std::string_view key, std::string_view value,
                 std::optional<std::int64_t> lineLen) {
  const std::string writtenKey = quotedIfNeeded(key);
  out.append(writtenKey).append(" = ");
  const std::vector<std::string_view> pieces = wrappedPieces(key, value, lineLen);
  if (pieces.empty()) {
    out.append(quotedIfNeeded(value)).append("\n");
    return;
  }
  const auto indent = static_cast<std::size_t>(util::characterCount(writtenKey)) + 3;
  bool isFirst = true;
  for (const std::string_view piece : pieces) {
    if (!isFirst) out.append(" ^\n").append(indent, ' ');
    isFirst = false;
    out.append(quoted(piece));
  }
  out.append("\n");
}

}  // namespace

std::vector<std::string_view> wrappedPieces(std::string_view key, std::string_view value,
                                            std::optional<std::int64_t> lineLen) {
  const auto length = pieceLength(quotedIfNeeded(key), quotedIfNeeded(value), lineLen);
  return length ? piecesOf(value, *length) : std::vector<std::string_view>();
}

std::string iniText(const IniValues& values, std::optional<std::int64_t> lineLen,
                    std::string_view headComment) {
  std::string out;
  if (!headComment.empty()) out.append("# ").append(headComment).append("\n\n");
  for (const auto& [name, section] : values) {
    out.append("[").append(quotedIfNeeded(name)).append("]\n");
    for (const auto& [key, value] : section) appendEntry(out, key, value, lineLen);
    out.append("\n");
  }
  return out;
}

}  // namespace quelto::ini
