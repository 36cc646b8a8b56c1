#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>

#include "credentials/auth_store.h"
#include "credentials/keychain_items.h"
#include "keychain/sec_item.h"
#include "tests/support/sessions.h"

namespace quelto::credentials {
namespace {

using items::GeneralPassword;
using items::InternetPassword;
using items::SecPasswordStruct;
using items::SecureNote;
using platform::Secret;
using std::chrono::seconds;
using test::Session;

bool add(SecPasswordStruct settings, std::string_view password) {
  return addSecItem(
      {.settings = std::move(settings),
       .password = Secret(password),
       .findIgnores = {keychain::kSecAttrLabel, keychain::kSecAttrComment, keychain::kSecAttrDescription}});
}

std::string passwordOf(const SecPasswordStruct& match) {
  const auto password = loadSecItemPassword(match);
  return password ? std::string(password->view()) : "(absent)";
}

using KeychainItems = test::InSession;
INSTANTIATE_TEST_SUITE_P(In, KeychainItems, test::everySession, testing::PrintToStringParamName());

TEST_P(KeychainItems, UpdateChangesTheSecretAlone) {
  const SecureNote first{
      .account = "h:22", .name = "ssh", .label = "first label", .comment = "first comment"};
  const SecureNote second{
      .account = "h:22", .name = "ssh", .label = "second label", .comment = "second comment"};
  const SecureNote match{.account = "h:22", .name = "ssh"};
  ASSERT_TRUE(add(first, "ann"));
  ASSERT_TRUE(add(second, "ben"));
  EXPECT_EQ(passwordOf(match), "ben");
  EXPECT_EQ(passwordOf(first), "ben");
  EXPECT_EQ(passwordOf(second), "(absent)");
}

TEST_P(KeychainItems, LabelThatIsNotIgnoredMakesAnotherItem) {
  // One that differs in the label alone would be a duplicate.
  const SecureNote note{.account = "h", .generic = "group", .label = "one"};
  const SecureNote other{.account = "h", .generic = "group", .label = "two"};
  ASSERT_TRUE(add(note, "ann"));
  EXPECT_FALSE(addSecItem({.settings = other, .password = Secret("ben")}));
  EXPECT_EQ(passwordOf(note), "ann");
}

TEST_P(KeychainItems, NotesAreFoundByTheirDescription) {
  keychain::SecDictionary otherDescription = SecureNote{.account = "h", .name = "ssh"}.buildMatchDicton();
  otherDescription.set(keychain::kSecAttrDescription, std::string("not a note"));
  otherDescription.set(keychain::kSecAttrGeneric, std::string("group"));
  otherDescription.set(keychain::kSecValueData, std::make_shared<const Secret>("other"));
  ASSERT_EQ(keychain::SecItemAdd(otherDescription), keychain::errSecSuccess);
  const SecureNote note{.account = "h", .name = "ssh"};
  EXPECT_EQ(passwordOf(note), "(absent)");
  ASSERT_TRUE(add(note, "ann"));
  EXPECT_EQ(passwordOf(note), "ann");
  EXPECT_EQ(passwordOf(GeneralPassword{.generic = "group"}), "other");
  // The description of any other kind may be ignored.
  ASSERT_TRUE(add(GeneralPassword{.account = "h", .generic = "group", .description = "another"}, "changed"));
  EXPECT_EQ(passwordOf(GeneralPassword{.generic = "group"}), "changed");
}

TEST_P(KeychainItems, AccountsAreWholeOrAbsent) {
  const InternetPassword whole{
      .account = "ann", .server = "h", .port = 22, .scheme = items::createSecProtocolType("ssh ")};
  ASSERT_TRUE(add(whole, "s3cret"));
  ASSERT_TRUE(add(InternetPassword{.server = "nameless"}, "s3cret"));
  ASSERT_TRUE(add(InternetPassword{.account = "ann", .server = "binary"}, "\xFF\xFE"));
  const auto account = loadSecItemAccount(InternetPassword{.server = "h", .port = 22});
  ASSERT_TRUE(account);
  EXPECT_EQ(account->username, "ann");
  EXPECT_EQ(account->password.view(), "s3cret");
  EXPECT_FALSE(loadSecItemAccount(InternetPassword{.server = "nameless"}));
  EXPECT_EQ(passwordOf(InternetPassword{.server = "nameless"}), "s3cret");
  EXPECT_FALSE(loadSecItemAccount(InternetPassword{.server = "binary"}));
  EXPECT_EQ(passwordOf(InternetPassword{.server = "binary"}), "(absent)");
  EXPECT_FALSE(loadSecItemAccount(InternetPassword{.server = "h", .port = 2222}));
}

TEST_P(KeychainItems, EveryMatchIsDeleted) {
  for (const char* group : {"one", "two", "three"})
    ASSERT_TRUE(add(SecureNote{.account = "h", .generic = group}, "ann"));
  ASSERT_TRUE(add(SecureNote{.account = "elsewhere"}, "stays"));
  deleteSecItem(SecureNote{.account = "h"});
  EXPECT_EQ(passwordOf(SecureNote{.account = "h"}), "(absent)");
  EXPECT_EQ(passwordOf(SecureNote{.account = "elsewhere"}), "stays");
}

TEST(KeychainOutOfReach, StoresAndFindsNothing) {
  test::User user(Session::desktop);
  const InternetPassword item{.account = "ann", .server = "h"};
  ASSERT_TRUE(add(item, "kept"));
  user.enter(Session::server);
  EXPECT_FALSE(add(item, "lost"));
  EXPECT_EQ(passwordOf(item), "(absent)");
  EXPECT_FALSE(loadSecItemAccount(item));
  deleteSecItem(item);
  user.enter(Session::desktop);
  EXPECT_EQ(passwordOf(item), "kept");
  user.around().keyring().signal(SIGSTOP);
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  const auto timed = [begin](const std::function<void()>& call) {
    return std::async(std::launch::async, [begin, call] { return (call(), Clock::now() - begin); });
  };
  const auto account = [&] { EXPECT_FALSE(loadSecItemAccount(item)); };
  auto one = timed(account);
  auto other = timed(account);
  auto password = timed([&] { EXPECT_FALSE(loadSecItemPassword(item)); });
  auto deletion = timed([&] { deleteSecItem(item); });
  auto addition = timed([&] { EXPECT_FALSE(add(item, "lost")); });
  // Each request takes its whole time, three and a half seconds; an addition is two.
  EXPECT_LT(password.get(), seconds(6));
  EXPECT_LT(deletion.get(), seconds(6));
  EXPECT_LT(addition.get(), seconds(10));
  EXPECT_GT(std::chrono::abs(one.get() - other.get()), seconds(2)) << "one account is looked up at a time";
  user.around().keyring().signal(SIGCONT);
}

TEST(AuthStore, FollowsTheEnvironmentAtEachCall) {
  const struct {
    const char* value;
    AuthStore store;
  } rows[] = {{"1", AuthStore::secureFile}, {"+1", AuthStore::secureFile}, {"01", AuthStore::secureFile},
              {"", AuthStore::keychain},    {"0", AuthStore::keychain},    {"2", AuthStore::keychain},
              {" 1", AuthStore::keychain},  {"1x", AuthStore::keychain}};
  for (const auto& [value, store] : rows) {
    ::setenv("AUTH_STORE", value, 1);
    EXPECT_EQ(getStore(), store) << value;
  }
  ::unsetenv("AUTH_STORE");
  EXPECT_EQ(getStore(), AuthStore::keychain);
}

}  // namespace
}  // namespace quelto::credentials
