#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "tests/keychain/secret_service/secret_service_calls.h"
#include "tests/support/temporary_folder.h"

namespace quelto::keychain {
namespace {

using test::isInMemory;
using test::shell;
using Want = ItemStore::Want;

bool isGlibLoaded() { return test::contentOf("/proc/self/maps").find("libglib") != std::string::npos; }

// The first test, since it is about the first use.
TEST_F(SecretService, TouchesNeitherSignalsNorStreamsOfTheProcess) {
  EXPECT_FALSE(isGlibLoaded()) << "only the module brings it";
  ::signal(SIGPIPE, SIG_DFL);
  std::string printed;
  {
    const test::Captured standardOutput(STDOUT_FILENO);
    EXPECT_EQ(add("alice"), errSecSuccess);
    EXPECT_EQ(find("alice"), errSecSuccess);
    printed = standardOutput.text();
  }
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(isGlibLoaded());
  EXPECT_EQ(::signal(SIGPIPE, SIG_DFL), SIG_DFL);
}

TEST_F(SecretService, LeavesNoSecretInFreedMemory) {
  constexpr const char* inversePart = "inverted, this is a part of the secret";
  // So long that parts of it outlast what is written into freed memory.
  std::string inverse;
  while (inverse.size() < 10000) inverse += inversePart;
  ASSERT_EQ(add(matchOf("alice").attributes, test::secretFrom(inverse)), errSecSuccess);
  {
    Item found;
    ASSERT_EQ(store().find(matchOf("alice"), Want::attributesAndSecret, found), errSecSuccess);
    EXPECT_TRUE(isInMemory(inversePart)) << "while it is in our hands";
  }
  EXPECT_FALSE(isInMemory(inversePart));
}

TEST_F(SecretService, IsReadableToOtherPrograms) {
  Attributes attributes = matchOf("alice").attributes;
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
  const std::string attributes = " class org.quelto.key tag data:,%61 xdg:other 1";
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=data:,b" + attributes + "\"").status, 0);
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=L class key tag data:,%61\"").status, 0);
  Item found;
  ASSERT_EQ(store().find({.itemClass = ItemClass::key, .attributes = {}}, Want::attributes, found),
            errSecSuccess);
  EXPECT_EQ(found.attributes, (Attributes{{"tag", "data:,%61"}, {"label", "data:,b"}}));
}

}  // namespace
}  // namespace quelto::keychain

namespace quelto::test {

struct OpenKeyring final : StoreSurroundings {
  OpenKeyring() { around.startKeyring(); }
  void restart() override { around.startKeyring(); }
  KeyringSurroundings around;
};
INSTANTIATE_TEST_SUITE_P(
    SecretService, ItemStoreContract,
    testing::Values(StoreKind{
        .name = "SecretService",
        .surround = std::make_unique<OpenKeyring>,
        .open = [] { return std::shared_ptr<ItemStore>(std::shared_ptr<void>(), &keychain::store()); }}),
    testing::PrintToStringParamName());

}  // namespace quelto::test
