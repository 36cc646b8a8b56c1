#include "ini/ini_file.h"

#include <utility>

#include "ini/ini_writer.h"
#include "platform/files/read_file.h"
#include "platform/files/replace_file.h"
#include "platform/text/utf8.h"
#include "util/lines.h"
#include "util/strings.h"

namespace quelto::ini {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

}  // namespace

IniFile::IniFile(std::string file, bool ignoreCase, OnError report)
    : onError(std::move(report)), file_(std::move(file)), ignoreCase_(ignoreCase) {
  reload();
}

void IniFile::setFile(std::string file) {
  file_ = std::move(file);
  reload();
}

void IniFile::setIgnoreCase(bool ignoreCase) {
  ignoreCase_ = ignoreCase;
  reload();
}

bool IniFile::reload() {
  values = {};
  hasLostEntries_ = false;
  const auto content = platform::readTrustedFile(file_, maximumFileSize);
  isMissing_ = content.isAbsent();
  error_ = !content || !platform::isValidUtf8(*content);
  if (error_) return error_;
  std::string_view text = *content;
  // Some editors put the mark first; it belongs to the encoding, not to the text (RFC 3629, section 6).
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  IniParser lines = parser();
  util::forEachLine(text, [&lines](std::string_view line) { lines.takeLine(line); });
  values = lines.takeValues();
  hasLostEntries_ = lines.hasLostEntries();
  return error_;
}

IniValues IniFile::readAll(const std::vector<std::string_view>& lines) const {
  IniParser taken = parser();
  for (const std::string_view line : lines) taken.takeLine(line);
  return taken.takeValues();
}

IniParser IniFile::parser() const {
  return {ignoreCase_, [this](IniError error, std::int64_t index, std::string_view line) {
            readError(index, line, error);
          }};
}

bool IniFile::saveAll(std::optional<std::int64_t> lineLen, std::string_view headComment) const {
  const std::string text = iniText(values, lineLen, headComment);
  return text.size() <= maximumFileSize && platform::isValidUtf8(text) &&
         platform::replaceFile(file_, text, platform::Links::ownFollowed);
}

void IniFile::readError(std::int64_t index, std::string_view line, IniError error) const {
  if (onError) onError(error, file_, index, line);
}

std::set<std::string> IniFile::readSections() const {
  std::set<std::string> names;
  for (const auto& section : values) names.insert(section.name);
  return names;
}

template <typename Value>
const Value* IniFile::named(const OrderedMap<Value>& map, std::string_view name) const {
  const Value* const value = map.find(name);
  return value == nullptr && ignoreCase_ ? map.find(platform::lowercased(name)) : value;
}

std::optional<IniSection> IniFile::readValues(std::string_view section) const {
  const IniSection* const found = named(values, section);
  return found != nullptr ? std::optional(*found) : std::nullopt;
}

std::optional<std::string> IniFile::readString(std::string_view section, std::string_view key) const {
  const IniSection* const found = named(values, section);
  const std::string* const value = found != nullptr ? named(*found, key) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

std::optional<bool> IniFile::readBool(std::string_view section, std::string_view key) const {
  const std::string text = platform::lowercased(readString(section, key).value_or(""));
  if (text == "1" || text == "true" || text == "yes" || text == "on") return true;
  if (text == "0" || text == "false" || text == "no" || text == "off") return false;
  return std::nullopt;
}

std::optional<std::int64_t> IniFile::readInt(std::string_view section, std::string_view key) const {
  return util::decimalInteger(readString(section, key).value_or(""));
}

}  // namespace quelto::ini
