#include "ini/ini_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "util/lines.h"
#include "util/strings.h"

namespace quelto::ini {
namespace {

using LineLen = std::optional<std::int64_t>;

IniValues one(std::string_view section, std::string_view key, std::string_view value) {
  IniValues values;
  values[section][key] = value;
  return values;
}

IniValues readBack(const std::string& text, bool ignoreCase = true) {
  IniParser parser(ignoreCase, {});
  util::forEachLine(text, [&parser](std::string_view line) { parser.takeLine(line); });
  return parser.takeValues();
}

TEST(IniText, IsWrittenAsTheFormatSays) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  const std::string alphabet = "abcdefghijklmnopqrstuvwxyz";
  const struct {
    const char* name;
    std::string key;
    std::string value;
    LineLen lineLen;
    std::string lines;
  } rows[] = {
      {"wrapped", "k", alphabet, 20, "k = \"abcdefghijkl\" ^\n    \"mnopqrstuvwx\" ^\n    \"yz\"\n"},
      {"fits exactly", "k", alphabet, 30, "k = " + alphabet + "\n"},
      {"too long by one", "k", alphabet, 29, "k = \"abcdefghijklmnopqrstu\" ^\n    \"vwxyz\"\n"},
      {"one piece", "k", "abcdefghijkl", 15, "k = \"abcdefg\" ^\n    \"hijkl\"\n"},
      {"its quotes are too many", "k", " abcdefg", 13, "k = \"abcd\" ^\n    \"efg\"\n"},
      {"never wrapped", "k", alphabet, std::nullopt, "k = " + alphabet + "\n"},
      {"room for one character", "key", "abc", 11, "key = abc\n"},
      {"room for one character", "key", "abcdef", 11,
       "key = \"a\" ^\n      \"b\" ^\n      \"c\" ^\n      \"d\" ^\n      \"e\" ^\n      \"f\"\n"},
      {"room for none", "key", "abcdef", 10, "key = abcdef\n"},
      {"negative", "key", "abcdef", least, "key = abcdef\n"},
      {"spaces", " k", "v ", std::nullopt, "\" k\" = \"v \"\n"},
      {"other blanks", "k", "\tv\u00A0", std::nullopt, "k = \tv\u00A0\n"},
      {"quoted key, wrapped", "k ", alphabet, 30, "\"k \" = \"abcdefghijklmnopqrs\" ^\n       \"tuvwxyz\"\n"},
      {"blanks at the cuts", "k", "abc   def   ghi", 11, "k = \"abc\" ^\n    \"def\" ^\n    \"ghi\"\n"},
      {"a piece of blanks", "k", "     \t      abc", 12, "k = \"\" ^\n    \"abc\"\n"},
      {"nothing but blanks", "k", std::string(30, ' '), 20, "k = \"\"\n"},
      {"characters, not bytes", "\u00E4", "\u00E4\u00F6\u00FCe\u0301\U0001F1E9\U0001F1EA", 9,
       "\u00E4 = "
       "\u00E4\u00F6\u00FCe\u0301\U0001F1E9\U0001F1EA\n"},
      {"nothing", "k", "", 20, "k = \n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(iniText(one("s", row.key, row.value), row.lineLen, "H"), "# H\n\n[s]\n" + row.lines + "\n")
        << row.name;
  }
  EXPECT_EQ(iniText({}, 20, ""), "");
  EXPECT_EQ(iniText(one(" a ", "k", "v"), 20, "x\ny"), "# x\ny\n\n[\" a \"]\nk = v\n\n");
}

/// A wrapped entry, cut one piece after the other.
std::string wrappedOneByOne(const std::string& key, std::string_view value, std::int64_t lineLen) {
  const std::int64_t width = lineLen - util::characterCount(key) - 7;
  const auto cut = [width](std::string_view text, std::string& out, std::string_view& rest) {
    out.append("\"").append(util::substr(text, util::CharacterCount{0, width, true})).append("\"");
    rest = util::characterCount(text) > width ? util::substr(text, util::CharactersTo{width, -1, true}) : "";
    out += rest.empty() ? "\n" : " ^\n";
  };
  std::string out = key + " = ";
  std::string_view rest;
  for (cut(value, out, rest); !rest.empty();) {
    out.append(static_cast<std::size_t>(util::characterCount(key) + 3), ' ');
    cut(rest, out, rest);
  }
  return out;
}

/// Texts of up to `size` parts that meet in every way that could move the bounds of a character.
std::string randomText(std::minstd_rand& random, std::size_t size) {
  static constexpr std::string_view parts[] = {
      "a",      "=",      "\"",           " ",       " ",      " ^",     "[",      "]",          "\t",
      "\u00A0", "\u3000", "\u00E9",       "e\u0301", "\u0301", "\u0600", "\u200D", "\U0001F468", "\U0001F1E9",
      "\u1100", "\u1161", "\u0915\u094D", "\uFE0F",  "\u0903", ";",      "#"};
  std::string text;
  for (std::size_t left = random() % (size + 1); left > 0; --left) text += parts[random() % std::size(parts)];
  return text;
}

TEST(IniText, WrapsAsIfCutOneByOne) {
  std::minstd_rand random(1);
  for (int count = 0; count < 5'000; ++count) {
    const std::string key = "k" + randomText(random, 2) + "k";
    const std::string value = randomText(random, 60);
    const std::int64_t lineLen = util::characterCount(key) + 8 + static_cast<std::int64_t>(random() % 12);
    const bool hasSpace = value.starts_with(' ') || value.ends_with(' ');
    const std::string plain = hasSpace ? "\"" + value + "\"" : value;
    const bool fits = util::characterCount(plain) <= lineLen - util::characterCount(key) - 3;
    const std::string entry = fits ? key + " = " + plain + "\n" : wrappedOneByOne(key, value, lineLen);
    ASSERT_EQ(iniText(one("s", key, value), lineLen, ""), "[s]\n" + entry + "\n");
  }
}

TEST(IniText, CutOffAnywhereHasWhatCameBefore) {
  IniValues values;
  for (const std::string name : {"one", "two", "three"}) {
    values[name]["account"] = "\u00E4lice " + name + " ";
    values[name]["password"] = std::string(344, 'p') + name;
    values[name]["scheme"] = std::string(4, '\0');
  }
  const std::string text = iniText(values, 120, "Head");
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const IniValues read = readBack(text.substr(0, size));
    for (const auto& [name, section] : values) {
      if (size < text.find("\n\n", text.find("[" + name + "]"))) break;
      ASSERT_NE(read.find(name), nullptr) << size;
      EXPECT_EQ(*read.find(name), section) << size;
    }
  }
}

TEST(IniText, LongValuesTakeLinearTime) {
  const std::string words(1'000'000, 'v');
  const std::string letters = [] {
    std::string text;
    for (int count = 0; count < 100'000; ++count) text += "e\u0301 ";
    return text;
  }();
  for (const auto& value : {words, letters + "x"}) {
    const auto values = one("s", "k", value);
    EXPECT_GT(iniText(values, 20, "").size(), value.size());
  }
}

}  // namespace
}  // namespace quelto::ini
