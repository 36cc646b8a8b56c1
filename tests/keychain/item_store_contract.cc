#include "tests/keychain/item_store_contract.h"

#include <vector>

namespace quelto::test {

using namespace platform;            // NOLINT(google-build-using-namespace): the statuses
using namespace platform::keychain;  // NOLINT(google-build-using-namespace)
using Want = ItemStore::Want;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ItemStoreContract);

namespace {

constexpr auto generic = ItemClass::genericPassword;
constexpr auto internet = ItemClass::internetPassword;
constexpr auto key = ItemClass::key;

const std::vector<std::string> genericIdentity{"account", "service", "generic", "type"};
const std::string notFound = "status " + std::to_string(errSecItemNotFound);

Item item(ItemClass itemClass, Attributes attributes, std::string_view secret) {
  return {.itemClass = itemClass, .attributes = std::move(attributes), .secret = platform::Secret(secret)};
}

}  // namespace

std::string ItemStoreContract::secretOf(const ItemMatch& match) {
  Item found;
  const OSStatus status = store().find(match, Want::attributesAndSecret, found);
  return status == errSecSuccess ? std::string(found.secret.view()) : "status " + std::to_string(status);
}

TEST_P(ItemStoreContract, GivesBackWhatItWasGivenByteForByte) {
  const std::string anyBytes("\0\xff\xc3(\n\xf0\x9f\x94\x91\0", 11);
  const std::string longText(65'536, 'x');
  const Item items[] = {
      item(generic, {{"account", "alice"}, {"label", "A label"}}, "secret"),
      item(generic, {{"account", "without a secret"}}, ""),
      item(generic, {{"account", ""}, {"service", "s"}}, "an empty attribute"),
      item(generic, {{"account", anyBytes}, {"label", anyBytes}, {"comment", anyBytes}}, anyBytes),
      item(generic, {{"account", longText}, {"label", longText}}, longText),
      item(generic, {{"account", longText + "y"}}, "alike for long"),
      item(key,
           {{"tag", "tag"}, {"keyclass", "1"}, {"keytype", "42"}, {"bits", "2048"}, {"applabel", anyBytes}},
           std::string(4096, '\0')),
      item(internet,
           {{"account", "bob"},
            {"server", "host"},
            {"port", "22"},
            {"protocol", "ssh "},
            {"path", "/p"},
            {"authtype", "dflt"},
            {"domain", "realm"},
            {"description", "d"},
            {"access_name", "n"},
            {"access_paths", "/a\n/b"},
            {"type", "t"}},
           "all attributes"),
  };
  const std::vector<std::string> identity{"account", "service", "tag", "server"};
  for (const Item& each : items)
    ASSERT_EQ(store().add(each, identity), errSecSuccess) << each.secret.view().substr(0, 20);
  for (const Item& each : items) {
    for (const Want want : {Want::attributes, Want::attributesAndSecret}) {
      Item found;
      ASSERT_EQ(store().find({each.itemClass, each.attributes}, want, found), errSecSuccess);
      EXPECT_EQ(found.itemClass, each.itemClass);
      EXPECT_TRUE(found.attributes == each.attributes) << each.secret.view().substr(0, 20);
      EXPECT_TRUE(found.secret.view() == (want == Want::attributes ? "" : each.secret.view()));
    }
  }
}

TEST_P(ItemStoreContract, FindsTheOldestOfTheItemsThatEqualTheMatch) {
  const std::vector<std::string> all{"account", "service", "generic", "type", "server", "label"};
  for (const auto& [attributes, secret] : std::vector<std::pair<Attributes, const char*>>{
           {{{"account", "a"}, {"service", "s"}, {"label", "one"}}, "1"},
           {{{"account", "a"}, {"service", "s"}, {"label", "two"}}, "2"},
           {{{"account", "a"}, {"service", "t"}, {"label", "two"}}, "3"},
           {{{"account", "a"}, {"service", ""}}, "4"},
           {{{"account", std::string("a\0b", 3)}, {"service", "s"}}, "5"}}) {
    ASSERT_EQ(store().add(item(generic, attributes, secret), all), errSecSuccess);
  }
  ASSERT_EQ(store().add(item(internet, {{"account", "a"}, {"server", "h"}}, "6"), all), errSecSuccess);
  struct Row {
    const char* name;
    ItemMatch match;
    std::string secret;
  };
  const Row rows[] = {
      {"nothing but the class", {generic, {}}, "1"},
      {"nothing but another class", {internet, {}}, "6"},
      {"a class without items", {key, {}}, notFound},
      {"one attribute of many items", {generic, {{"account", "a"}}}, "1"},
      {"two attributes together", {generic, {{"service", "s"}, {"label", "two"}}}, "2"},
      {"no identity attribute", {generic, {{"label", "two"}}}, "2"},
      {"each in some item, never together", {generic, {{"service", "t"}, {"label", "one"}}}, notFound},
      {"an attribute of another class", {internet, {{"account", "a"}}}, "6"},
      {"other letter case", {generic, {{"account", "A"}}}, notFound},
      {"the beginning of a value", {generic, {{"service", "s"}, {"label", "tw"}}}, notFound},
      {"a value that goes on after a NUL", {generic, {{"account", std::string("a\0b", 3)}}}, "5"},
      {"and goes on otherwise", {generic, {{"account", std::string("a\0c", 3)}}}, notFound},
      {"an empty value", {generic, {{"service", ""}}}, "4"},
      {"an empty value that no item has", {generic, {{"label", ""}}}, notFound},
      {"an empty value of a name that no item has", {generic, {{"comment", ""}}}, notFound},
      {"a name that no item has", {generic, {{"account", "a"}, {"comment", "c"}}}, notFound},
  };
  for (const Row& row : rows) EXPECT_EQ(secretOf(row.match), row.secret) << row.name;
}

TEST_P(ItemStoreContract, RefusesASecondItemOfTheSameIdentity) {
  ASSERT_EQ(store().add(item(generic, {{"account", "a"}, {"generic", ""}, {"label", "L"}}, "first"),
                        genericIdentity),
            errSecSuccess);
  struct Row {
    const char* name;
    ItemClass itemClass;
    Attributes attributes;
    OSStatus status;
  };
  const Row rows[] = {
      {"the same", generic, {{"account", "a"}, {"generic", ""}, {"label", "L"}}, errSecDuplicateItem},
      {"empty instead of missing", generic, {{"account", "a"}, {"service", ""}}, errSecDuplicateItem},
      {"missing instead of empty", generic, {{"account", "a"}}, errSecDuplicateItem},
      {"another label", generic, {{"account", "a"}, {"label", "M"}}, errSecDuplicateItem},
      {"another group", generic, {{"account", "a"}, {"generic", "g"}}, errSecSuccess},
      {"nothing of the identity", generic, {{"label", "L"}}, errSecSuccess},
      {"nothing of it again, but empty", generic, {{"type", ""}}, errSecDuplicateItem},
      {"another class", key, {{"account", "a"}}, errSecSuccess},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(store().add(item(row.itemClass, row.attributes, "later"), genericIdentity), row.status)
        << row.name;
  }
  EXPECT_EQ(secretOf({generic, {{"account", "a"}}}), "first");
}

TEST_P(ItemStoreContract, UpdatesTheSecretAndNothingElse) {
  const platform::Secret secret("new");
  EXPECT_EQ(store().updateSecret({generic, {{"account", "a"}}}, HowMany::all, secret), errSecItemNotFound);
  for (const char* service : {"1", "2", "3"}) {
    ASSERT_EQ(store().add(item(generic, {{"account", "a"}, {"service", service}, {"label", "L"}}, service),
                          genericIdentity),
              errSecSuccess);
  }
  const auto secrets = [this] {
    std::string all;
    for (const char* service : {"1", "2", "3"})
      all += secretOf({generic, {{"service", service}, {"label", "L"}}}) + " ";
    return all;
  };
  EXPECT_EQ(store().updateSecret({generic, {{"account", "b"}}}, HowMany::all, secret), errSecItemNotFound);
  EXPECT_EQ(store().updateSecret({generic, {{"account", "a"}}}, HowMany::first, secret), errSecSuccess);
  EXPECT_EQ(secrets(), "new 2 3 ");
  EXPECT_EQ(store().updateSecret({generic, {{"account", "a"}}}, HowMany::all, platform::Secret("")),
            errSecSuccess);
  EXPECT_EQ(secrets(), "   ");
  Item found;
  ASSERT_EQ(store().find({generic, {{"service", "1"}}}, Want::attributes, found), errSecSuccess);
  EXPECT_EQ(found.attributes, (Attributes{{"account", "a"}, {"service", "1"}, {"label", "L"}}));
}

TEST_P(ItemStoreContract, RemovesTheFirstMatchOrAll) {
  const auto remaining = [this] { return secretOf({generic, {{"account", "a"}}}); };
  const auto add = [this](const char* service) {
    return store().add(item(generic, {{"account", "a"}, {"service", service}}, service), genericIdentity);
  };
  for (const char* service : {"1", "2", "3", "4"}) ASSERT_EQ(add(service), errSecSuccess);
  EXPECT_EQ(store().remove({generic, {{"account", "b"}}}, HowMany::all), errSecItemNotFound);
  EXPECT_EQ(store().remove({generic, {{"account", "a"}}}, HowMany::first), errSecSuccess);
  EXPECT_EQ(remaining(), "2");
  EXPECT_EQ(add("1"), errSecSuccess);
  EXPECT_EQ(remaining(), "2") << "what was added again is the youngest";
  EXPECT_EQ(store().remove({generic, {{"service", "2"}}}, HowMany::all), errSecSuccess);
  EXPECT_EQ(remaining(), "3");
  EXPECT_EQ(store().remove({generic, {{"account", "a"}}}, HowMany::all), errSecSuccess);
  EXPECT_EQ(remaining(), notFound);
  EXPECT_EQ(store().remove({generic, {{"account", "a"}}}, HowMany::all), errSecItemNotFound);
}

}  // namespace quelto::test
