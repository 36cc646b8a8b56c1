#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "tests/keychain/item_store_contract.h"
#include "tests/keychain/secret_service/secret_service_calls.h"
#include "tests/support/keyring_surroundings.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/temporary_folder.h"

namespace quelto::keychain {
namespace {

using test::Captured;
using test::isInMemory;
using test::KeyringSurroundings;
using test::secretFrom;
using test::shell;
using Want = ItemStore::Want;

bool isGlibLoaded() { return test::contentOf("/proc/self/maps").find("libglib") != std::string::npos; }

// The first test, since it is about the first use.
TEST_F(SecretService, TouchesNeitherSignalsNorStreamsOfTheProcess) {
  EXPECT_FALSE(isGlibLoaded()) << "only the module brings it";
  KeyringSurroundings around;
  around.startKeyring();
  ::signal(SIGPIPE, SIG_DFL);
  std::string printed;
  {
    const Captured standardOutput(STDOUT_FILENO);
    EXPECT_EQ(add(attributesOf("alice")), errSecSuccess);
    EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret");
    printed = standardOutput.text();
  }
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(isGlibLoaded());
  EXPECT_EQ(::signal(SIGPIPE, SIG_DFL), SIG_DFL);
}

TEST_F(SecretService, LeavesNoSecretInFreedMemory) {
  KeyringSurroundings around;
  around.startKeyring();
  constexpr const char* inversePart = "inverted, this is a part of the secret";
  // So long that parts of it outlast what is written into freed memory.
  std::string inverse;
  while (inverse.size() < 10000) inverse += inversePart;
  ASSERT_EQ(add(attributesOf("alice"), secretFrom(inverse)), errSecSuccess);
  {
    Item found;
    ASSERT_EQ(find(attributesOf("alice"), found), errSecSuccess);
    EXPECT_TRUE(isInMemory(inversePart)) << "while it is in our hands";
  }
  EXPECT_FALSE(isInMemory(inversePart));
}

TEST_F(SecretService, IsReadableToOtherPrograms) {
  KeyringSurroundings around;
  around.startKeyring();
  Attributes attributes = attributesOf("alice");
  attributes.insert(
      {{"label", "svn+ssh://host: Zoë"}, {"generic", std::string("a\0b", 3)}, {"comment", "two\nlines"}});
  ASSERT_EQ(add(attributes, platform::Secret("geheim ü")), errSecSuccess);
  const std::string query = " class org.quelto.genericPassword service svn account alice";
  EXPECT_EQ(shell("secret-tool lookup" + query).text, "geheim ü");
  const std::string shown = shell("secret-tool search" + query).text;
  for (const char* line : {"label = svn+ssh://host: Zoë\n", "attribute.account = alice\n",
                           "attribute.service = svn\n", "attribute.generic = data:,a%00b\n",
                           "attribute.comment = data:,two%0Alines\n", "schema = org.quelto.suite\n"})
    EXPECT_NE(shown.find(line), std::string::npos) << line << "in\n" << shown;
}

TEST_F(SecretService, LeavesTheWordsOfOtherProgramsAsTheyAre) {
  KeyringSurroundings around;
  around.startKeyring();
  const std::string attributes = " class org.quelto.key tag data:,%61 xdg:other 1";
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=data:,b" + attributes + "\"").status, 0);
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=L class key tag data:,%61\"").status, 0);
  Item found;
  ASSERT_EQ(store().find({.itemClass = ItemClass::key, .attributes = {}}, Want::attributes, found),
            errSecSuccess);
  EXPECT_EQ(found.attributes, (Attributes{{"tag", "data:,%61"}, {"label", "data:,b"}}));
}

TEST_F(SecretService, KeepsWhatNoTextCanHoldOverARestart) {
  KeyringSurroundings around;
  around.startKeyring();
  const std::string values[] = {"Zoë <a&b> %41", "",           std::string("a\0b", 3), "data:,a%00b",
                                "data:,",        "data:,a%zz", "\xff\xed\xa0\x80",     "\r\n\t\x1b\x7f"};
  ASSERT_EQ(add({{"service", "neither account nor label"}}), errSecSuccess);
  for (const std::string& value : values)
    ASSERT_EQ(add({{"account", value}, {"label", value}}, platform::Secret(value)), errSecSuccess) << value;
  around.startKeyring();
  for (const std::string& value : values) {
    for (const char* by : {"account", "label"}) {
      Item found;
      EXPECT_EQ(find({{by, value}}, found), errSecSuccess) << value << " by " << by;
      EXPECT_EQ(found.attributes, (Attributes{{"account", value}, {"label", value}}));
      EXPECT_EQ(found.secret.view(), value) << value << " by " << by;
    }
  }
}

TEST_F(SecretService, TakesTheOldestFirstAlsoWithinOneSecond) {
  KeyringSurroundings around;
  around.startKeyring();
  // More than ten, so that numbers of one and of two digits are compared.
  std::vector<std::string> accounts;
  for (char letter = 'l'; letter >= 'a'; --letter) accounts.emplace_back(1, letter);
  for (const std::string& account : accounts) ASSERT_EQ(add(attributesOf(account)), errSecSuccess);
  around.startKeyring();
  const ItemMatch any = matchOf({{"service", "svn"}});
  for (const std::string& account : accounts) {
    Item found;
    ASSERT_EQ(store().find(any, Want::attributes, found), errSecSuccess);
    EXPECT_EQ(found.attributes, attributesOf(account));
    EXPECT_EQ(found.secret.size(), 0U);
    ASSERT_EQ(store().remove(any), errSecSuccess);
  }
  EXPECT_EQ(store().remove(any), errSecItemNotFound);
}

TEST_F(SecretService, FindsWhatStaysWhileOthersComeAndGo) {
  KeyringSurroundings around;
  around.startKeyring();
  for (int index = 0; index < 20; ++index) ASSERT_EQ(add(attributesOf(std::to_string(index))), errSecSuccess);
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  auto others = std::async(std::launch::async, [] {
    OSStatus status = errSecSuccess;
    for (int index = 0; index < 20 && status == errSecSuccess; ++index)
      status = store().remove(matchOf(attributesOf(std::to_string(index))));
    return status;
  });
  while (others.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
    EXPECT_EQ(find({{"service", "svn"}}), errSecSuccess);
  EXPECT_EQ(others.get(), errSecSuccess);
  EXPECT_EQ(secretOf({{"service", "svn"}}), "s3cret");
}

}  // namespace
}  // namespace quelto::keychain

namespace quelto::test {

INSTANTIATE_TEST_SUITE_P(SecretService, ItemStoreContract,
                         testing::Values(StoreKind{"SecretService",
                                                   [] {
                                                     auto around = std::make_shared<KeyringSurroundings>();
                                                     around->startKeyring();
                                                     return std::shared_ptr<keychain::ItemStore>(
                                                         std::move(around), &keychain::store());
                                                   }}),
                         testing::PrintToStringParamName());

}  // namespace quelto::test
