#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ini/ini_error.h"
#include "ini/ini_parser.h"

namespace quelto::ini {

/// An INI file that is read whole and written whole. Nothing is open between calls. One thread at a time.
///
/// Lines end at any of LF, CR, VT, FF, U+0085, U+2028 and U+2029, each by itself. A line that begins with "#"
/// or ";" is a comment, "[name]" begins a section (again, when it is known), and "key = value" adds an entry
/// or replaces it. Blanks around names and values do not count, nor do double quotes around what is left.
/// There are no escapes. A value that ends in " ^" goes on in the next line, whatever that is.
///
/// What does not come back as it was saved:
/// - line ends in a name, value or head comment: what follows them is read as lines of its own;
/// - a section without a name, with all its entries;
/// - an entry whose key is empty, holds "=" or begins with "#" or ";", and one that makes a header of its
///   line, as "[a" with the value "b]" does;
/// - upper-case letters of names where `ignoreCase` is set, and all but the last of names that differ in
/// case;
/// - double quotes around a name or value, and a name or value that is one double quote;
/// - " ^" at the end of a value, with the next line, which is taken for the rest of the value;
/// - white space at the ends of a name or value, but for a U+0020: a text with one at either end is quoted,
///   and all of it survives, quotes and " ^" too;
/// - white space at the ends and at the cuts of a value that is wrapped, U+0020 as well; its quotes and " ^"
///   survive;
/// - comments, rejected lines, and the places of sections and keys that come again.
/// A map that holds anything but UTF-8 is not saved at all.
///
/// Where lines end in CR LF, a wrapped value ends after its first piece, at the empty line between the two:
/// see `hasLostEntries`.
class IniFile {
 public:
  using OnError =
      std::function<void(IniError error, const std::string& file, std::int64_t index, std::string_view line)>;

  /// Files with more bytes are neither read nor written.
  static constexpr std::size_t maximumFileSize = std::size_t{16} << 20;

  /// Reads the file. `report` becomes `onError`.
  explicit IniFile(std::string file, bool ignoreCase = true, OnError report = {});
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  [[nodiscard]] const std::string& file() const { return file_; }
  /// Reads the new file.
  void setFile(std::string file);

  [[nodiscard]] bool ignoreCase() const { return ignoreCase_; }
  /// Reads the file again.
  void setIgnoreCase(bool ignoreCase);

  /// Whether the last `reload` could not read the file: it is missing, not UTF-8, too large, no regular file
  /// of this user or root, or writable by everyone. `values` was then left empty, and saving it would replace
  /// all that such a file holds.
  [[nodiscard]] bool error() const { return error_; }

  /// Whether there was no such file at the last `reload`: the one `error` after which a save loses nothing.
  [[nodiscard]] bool isMissing() const { return isMissing_; }

  /// Whether the file that was read last has what the format drops although a person can still read it:
  /// pieces of a wrapped value behind a line without " ^", an empty one above all, or sections and entries
  /// behind a continuation without a key, which takes all lines to the end. A save would lose them.
  [[nodiscard]] bool hasLostEntries() const { return hasLostEntries_; }

  /// Reads the file into `values`, without a byte-order mark. Returns `error`.
  bool reload();

  /// Reads lines into a map of their own, `values` and `error` stay. Rejected lines are reported.
  [[nodiscard]] IniValues readAll(const std::vector<std::string_view>& lines) const;

  /// Writes `values`, in their order, and nothing else. A value is wrapped where its line would have more
  /// than `lineLen` characters, unless that leaves none for a piece. False,
  /// and the file is left as it was, when something is not UTF-8, the text is too large to be read again, or
  /// `platform::replaceFile` fails, which says what is replaced; links of ours are followed.
  [[nodiscard]] bool saveAll(std::optional<std::int64_t> lineLen, std::string_view headComment) const;

  /// Calls `onError`, if there is one, for a line of this file.
  void readError(std::int64_t index, std::string_view line, IniError error) const;

  [[nodiscard]] std::set<std::string> readSections() const;

  /// Names are looked up as given and, where `ignoreCase` is set, in lower case. Absent when there is no such
  /// section or key. Also absent for a text that is not, from end to end:
  /// - `readBool`: 1, true, yes or on; 0, false, no or off; in any case;
  /// - `readInt`: a decimal integer of 64 bits;
  /// - `readFloat` and `readCGFloat`: a finite decimal number within the type's range, also with an exponent.
  [[nodiscard]] std::optional<IniSection> readValues(std::string_view section) const;
  [[nodiscard]] std::optional<std::string> readString(std::string_view section, std::string_view key) const;
  [[nodiscard]] std::optional<bool> readBool(std::string_view section, std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> readInt(std::string_view section, std::string_view key) const;
  [[nodiscard]] std::optional<float> readFloat(std::string_view section, std::string_view key) const;
  [[nodiscard]] std::optional<double> readCGFloat(std::string_view section, std::string_view key) const;

  /// Is told of each rejected line; may be empty.
  OnError onError;

  /// What the last `reload` read, with all changes since.
  IniValues values;

 private:
  [[nodiscard]] IniParser parser() const;
  template <typename Value>
  [[nodiscard]] const Value* named(const OrderedMap<Value>& map, std::string_view name) const;
  template <typename Number>
  [[nodiscard]] std::optional<Number> readNumber(std::string_view section, std::string_view key) const;

  std::string file_;
  bool ignoreCase_;
  bool error_ = false;
  bool isMissing_ = false;
  bool hasLostEntries_ = false;
};

}  // namespace quelto::ini
