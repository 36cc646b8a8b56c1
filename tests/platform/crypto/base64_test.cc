#include "platform/crypto/base64.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

/// Each character of the alphabet in its turn.
constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view bytesOfAlphabet(
    "\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51\x55\x97\x61\x96\x9b\x71\xd7\x9f"
    "\x82\x18\xa3\x92\x59\xa7\xa2\x9a\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d\xb7\xe3\x9e\xbb\xf3\xdf\xbf",
    48);

TEST(Base64, EncodesInOneLineOrSeveral) {
  const std::string twoLines = std::string(bytesOfAlphabet) + std::string(bytesOfAlphabet);
  const struct {
    std::string bytes;
    std::string text;
    Base64Lines lines = Base64Lines::one;
  } rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foobar", "Zm9vYmFy"},
      {std::string("\0", 1), "AA=="},
      {twoLines + "f", std::string(alphabet) + std::string(alphabet) + "Zg=="},
      {"", "", Base64Lines::of64Characters},
      {std::string(bytesOfAlphabet), std::string(alphabet), Base64Lines::of64Characters},
      {twoLines + "f",
       std::string(alphabet) + "\n" + std::string(alphabet) + "\nZg==", Base64Lines::of64Characters},
  };
  for (const auto& [bytes, text, lines] : rows) {
    EXPECT_EQ(base64(bytes, lines), text);
    EXPECT_EQ(bytesOfBase64(text), bytes) << text;
  }
}

TEST(Base64, DecodesWhatIsLeftOfTheAlphabet) {
  const struct {
    const char* name;
    std::string_view text;
    std::optional<std::string_view> bytes;
  } rows[] = {
      {"line ends and blanks", " Zm\r\n9v\tYg = =\n", "foob"},
      {"a hyphen", "Zm9v-YmFy", "foobar"},
      {"a NUL", {"Zm9v\0YmFy", 9}, "foobar"},
      {"the alphabet for file names", "Zm9v__--", "foo"},
      {"bytes that are no text", "\xFFZm9v\x80", "foo"},
      {"nothing but others", " \n#", ""},
      {"bits that belong to no byte", "Zh==", "f"},
      {"one character", "Z", {}},
      {"no padding", "Zm9vYg", {}},
      {"half of the padding", "Zm9vYg=", {}},
      {"too much padding", "Zm9v====", {}},
      {"padding for two bytes too many", "Z===", {}},
      {"nothing but padding", "====", {}},
      {"padding in front", "==Zg", {}},
      {"padding in a group", "Zg=v", {}},
      {"padding between groups", "Zg==Zm9v", {}},
      {"padding in another line",
       "Zg==AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
       {}},
  };
  for (const auto& row : rows) EXPECT_EQ(bytesOfBase64(row.text), row.bytes) << row.name;
}

}  // namespace
}  // namespace quelto::platform
