#include "util/hashing.h"

#include <gtest/gtest.h>

namespace quelto::util {
namespace {

TEST(Hashing, TextsHave44Characters) {
  const std::string none(44, '-');
  const struct {
    std::string_view text;
    std::string_view hash;
    Sha256Text form{};
  } rows[] = {
      {"", "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU="},
      {"", "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU,", {.secure = true}},
      {{"a\0b", 3}, "WbJxrhu8sdMdQZKYF/Sxb7Q5608xUgta0dXOmJIKcTg="},
      {"Gr\u00FCn", "mVIj31TGe2M9kghF9cgjVuDJ5yoskbOPry6A9aX/XaU="},
      {"Gr\xFCn", none},
      {"\xED\xA0\x80", none, {.secure = true}},
  };
  for (const auto& [text, hash, form] : rows) EXPECT_EQ(sha256base64(text, form), hash);
}

}  // namespace
}  // namespace quelto::util
