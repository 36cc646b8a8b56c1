#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "ini/ini_parser.h"
#include "ini/ini_writer.h"
#include "util/lines.h"

namespace quelto::ini {
namespace {

using LineLen = std::optional<std::int64_t>;

IniValues one(std::string_view section, std::string_view key, std::string_view value) {
  IniValues values;
  values[section][key] = value;
  return values;
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
      {"cut between characters", "k", "\u00E4e\u0301\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7\u1100\u1161xyz",
       11,
       "k = \"\u00E4e\u0301\U0001F1E9\U0001F1EA\" ^\n    \"\U0001F1EB\U0001F1F7\u1100\u1161x\" ^\n    "
       "\"yz\"\n"},
      {"a mark on the blank at a cut", "k", "abc \u0301de fghi", 11,
       "k = \"abc\" ^\n    \"\u0301de\" ^\n    \"fgh\" ^\n    \"i\"\n"},
      {"nothing", "k", "", 20, "k = \n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(iniText(one("s", row.key, row.value), row.lineLen, "H"), "# H\n\n[s]\n" + row.lines + "\n")
        << row.name;
  }
  EXPECT_EQ(iniText({}, 20, ""), "");
  EXPECT_EQ(iniText(one(" a ", "k", "v"), 20, "x\ny"), "# x\ny\n\n[\" a \"]\nk = v\n\n");
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

/// What was read, as "[section]key=value;", with each rejected line before it, as "raw_value:index:line|".
std::string read(const std::string& text, bool ignoreCase) {
  std::ostringstream out;
  IniParser parser(ignoreCase, [&out](IniError error, std::int64_t index, std::string_view line) {
    out << rawValue(error) << ":" << index << ":" << line << "|";
    EXPECT_EQ(iniErrorFromRawValue(rawValue(error)), error);
  });
  util::forEachLine(text, [&parser](std::string_view line) { parser.takeLine(line); });
  for (const auto& [name, section] : parser.takeValues()) {
    out << "[" << name << "]";
    for (const auto& [key, value] : section) out << key << "=" << value << ";";
  }
  return out.str();
}

TEST(IniParser, ReadsLines) {
  const struct {
    const char* name;
    std::string text;
    std::string result;
    bool ignoreCase = true;
  } rows[] = {
      {"nothing", "", ""},
      {"blanks in a header", "[ Main ]", "[main]"},
      {"case that counts", "[ Main ]\nKey = V", "[Main]Key=V;", false},
      {"no name", "[]\nx = 1\n[ ]\n[\"\"]\ny = 1\n[\"]",
       "empty_section:0:[]|ident_line:1:x = 1|empty_section:2:[ ]|empty_section:3:[\"\"]|ident_line:4:y = 1|"
       "empty_section:5:[\"]|"},
      {"after no name", "[a]\n[]\nk = v\n[b]\nk = w", "empty_section:1:[]|ident_line:2:k = v|[a][b]k=w;"},
      {"quotes keep spaces", "[\" A \"]\n\"K\" = \" v \"\n\" l \"=x", "[ a ]k= v ; l =x;"},
      {"brackets", "[[a]]\n[b]c]\n[d", "invalid_line:2:[d|[[a]][b]c]"},
      {"value with =", "[s]\nk = a=b\nl==\nm=", "[s]k=a=b;l==;m=;"},
      {"no key", "[s]\n= v\nk = v\n\"\" = w", "empty_keyname:1:= v|empty_keyname:3:\"\" = w|[s]k=v;"},
      {"no =", "[s]\n novalue \n", "invalid_line:1: novalue |[s]"},
      {"before any section", "x = 1\ny\n[s]", "ident_line:0:x = 1|ident_line:1:y|[s]"},
      {"comments", "# a = b\n  ;[c]\n[s]\nk = v ; w # x", "[s]k=v ; w # x;"},
      {"a section again", "[s]\na = 1\nb = 2\n[t]\nc = 3\n[S]\na = 4\nd = 5", "[s]a=4;b=2;d=5;[t]c=3;"},
      {"lone quotes", "[s]\nk = \"\nl = \"\"\nm = \"a\nn = a\"", "[s]k=;l=;m=\"a;n=a\";"},
      {"quoted once only", "[s]\nk = \"\"a\"\"", "[s]k=\"a\";"},
      {"continued", "[s]\nk = ab ^\n  cd ^\n\"ef\"\nl = x", "[s]k=abcdef;l=x;"},
      {"continued and quoted", "[s]\nk = \"a \" ^\n\t\" b\"  ^\n\"\" ^\n\"\nl = x", "[s]k=a  b;l=x;"},
      {"continued by a header", "[s]\nk = ab ^\n[next]\nl = x", "[s]k=ab[next];l=x;"},
      {"continued by a comment", "[s]\nk = ab ^\n# c\nl = x", "[s]k=ab# c;l=x;"},
      {"continued by nothing", "[s]\nk = ab ^\n\n[t]\nl = x ^", "[s]k=ab;[t]l=x;"},
      {"a caret without space", "[s]\nk = ab^\nl = ^\nm = a\t^", "[s]k=ab^;l=^;m=a\t^;"},
      {"drift to the end", "[s]\n= x ^\n[t]\n\nk = v",
       "empty_keyname:1:= x ^|drift_line:2:[t]|drift_line:3:|drift_line:4:k = v|[s]"},
      {"a flag that a rejected line clears", "[s]\n= x\n[t]", "empty_keyname:1:= x|[s][t]"},
      {"CR LF", "[s]\r\nnovalue\r\nk = v\r\n", "invalid_line:2:novalue|[s]k=v;"},
      {"CR LF ends a value", "[s]\r\nk = \"a\" ^\r\n  \"b\"\r\n", "invalid_line:4:  \"b\"|[s]k=a;"},
      {"every line end", "[s]\ra=1\vb=2\fc=3\u0085d=4\u2028e=5\u2029f=6\x1Eg",
       "[s]a=1;b=2;c=3;d=4;e=5;f=6\x1Eg;"},
      {"blanks of Unicode", "\u3000[\u00A0s\u00A0]\u2003\nk\u00A0=\u00A0v\u00A0", "[s]k=v;"},
      {"lower case of Unicode", "[\u00C4]\n\u0130 = \u00C4", "[\u00E4]i\u0307=\u00C4;"},
      {"equivalent names", "[e\u0301]\nk\u00E9=1\n[\u00E9]\nke\u0301=2\n\u212A=3\nK=4\n\xFF=5\n\xFE=6",
       "[e\u0301]k\u00E9=2;\u212A=4;\xFF=5;\xFE=6;", false},
      {"marks after syntax", "[s]\nk =\u0301 \"\u0301v\" ^\n\"\u0301w\"", "[s]k=\u0301 \"\u0301v\"\u0301w;"},
      {"NUL", {"[s]\nk = \0\0\n", 11}, {"[s]k=\0\0;", 8}},
      {"not UTF-8", "[\xFF]\n\xC3=\xE2\x80\n\xFE", "invalid_line:2:\xFE|[\xFF]\xC3=\xE2\x80;"},
  };
  for (const auto& row : rows) EXPECT_EQ(read(row.text, row.ignoreCase), row.result) << row.name;
  EXPECT_EQ(iniErrorFromRawValue("drift"), std::nullopt);
}

}  // namespace
}  // namespace quelto::ini
