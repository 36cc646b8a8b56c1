#include "credentials/auth_store.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace quelto::credentials {
namespace {

TEST(AuthStore, FollowsTheEnvironmentAtEachCall) {
  const struct {
    const char* value;
    AuthStore store;
  } rows[] = {{"1", AuthStore::secureFile},   {"+1", AuthStore::secureFile},
              {"01", AuthStore::secureFile},  {"", AuthStore::keychain},
              {"0", AuthStore::keychain},     {"2", AuthStore::keychain},
              {"-1", AuthStore::keychain},    {" 1", AuthStore::keychain},
              {"1 ", AuthStore::keychain},    {"true", AuthStore::keychain},
              {"1x", AuthStore::keychain},    {"18446744073709551617", AuthStore::keychain},
              {"\u0661", AuthStore::keychain}};
  for (const auto& [value, store] : rows) {
    ::setenv("AUTH_STORE", value, 1);
    EXPECT_EQ(getStore(), store) << value;
  }
  ::unsetenv("AUTH_STORE");
  EXPECT_EQ(getStore(), AuthStore::keychain);
}

}  // namespace
}  // namespace quelto::credentials
