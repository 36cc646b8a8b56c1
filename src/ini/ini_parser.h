#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "ini/ini_error.h"
#include "ini/ordered_map.h"

namespace quelto::ini {

using IniSection = OrderedMap<std::string>;
using IniValues = OrderedMap<IniSection>;

/// Reads the lines of one INI text in turn; `IniFile` describes the format. A syntax character is a code
/// point, whatever marks follow it. Takes any bytes. Linear in the text's length.
class IniParser {
 public:
  /// `rejected` may be empty.
  IniParser(bool ignoreCase, RejectedLine rejected)
      : ignoreCase_(ignoreCase), rejected_(std::move(rejected)) {}
  IniParser(const IniParser&) = delete;
  IniParser& operator=(const IniParser&) = delete;

  void takeLine(std::string_view line);

  /// What the lines so far have given; at the end only.
  [[nodiscard]] IniValues takeValues() { return std::move(values_); }

  /// See `IniFile::hasLostEntries`.
  [[nodiscard]] bool hasLostEntries() const { return hasLostEntries_; }

 private:
  void continueValue(std::string_view line, std::string_view trimmed);
  void takeContent(std::string_view line, std::string_view trimmed);
  [[nodiscard]] std::string nameOf(std::string_view text) const;
  void reject(IniError error, std::string_view line) const;

  bool ignoreCase_;
  RejectedLine rejected_;
  IniValues values_;
  std::int64_t index_ = -1;
  /// Null outside of sections.
  IniSection* section_ = nullptr;
  /// The value that a continuation belongs to; null when its key was rejected.
  std::string* value_ = nullptr;
  bool continues_ = false;
  bool hasLostEntries_ = false;
};

}  // namespace quelto::ini
