#include "util/hashing.h"

#include <gtest/gtest.h>

#include "platform/crypto/base64.h"

namespace quelto::util {
namespace {

TEST(Hashing, DigestsBytesThatAreNoText) {
  const auto digest = sha256data("\xFF\xFE");
  ASSERT_TRUE(digest);
  EXPECT_EQ(digest->size(), 32U);
  EXPECT_EQ(platform::base64(*digest), "s9UQ7wQnXKjmmOWzy7Ds45Se+SUvDNyDnp7jR0CaIgk=");
}

TEST(Hashing, TextsHave44Characters) {
  const std::string none(44, '-');
  const struct {
    std::string_view text;
    std::string_view hash;
    Sha256Text form{};
  } rows[] = {
      {"", "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU="},
      {"", "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU,", {.secure = true}},
      {"alice\n\nserver1\n\n\n\n\n\n\n", "KxgZ-Tm4wGoXbAdMaB_bBYPKydocCApL1hozhgsBSYM,", {.secure = true}},
      {{"a\0b", 3}, "WbJxrhu8sdMdQZKYF/Sxb7Q5608xUgta0dXOmJIKcTg="},
      {"Gr\u00FCn", "mVIj31TGe2M9kghF9cgjVuDJ5yoskbOPry6A9aX/XaU="},
      {"Gr\xFCn", none},
      {"\xED\xA0\x80", none, {.secure = true}},
  };
  for (const auto& [text, hash, form] : rows) EXPECT_EQ(sha256base64(text, form), hash);
}

}  // namespace
}  // namespace quelto::util
