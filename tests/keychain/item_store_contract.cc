#include "tests/keychain/item_store_contract.h"

#include <vector>

namespace quelto::test {

using namespace keychain;  // NOLINT(google-build-using-namespace)
using Want = ItemStore::Want;

namespace {

constexpr auto generic = ItemClass::genericPassword;
constexpr auto internet = ItemClass::internetPassword;
constexpr auto key = ItemClass::key;

const std::string notFound = "status " + std::to_string(errSecItemNotFound);

Item itemOf(ItemClass itemClass, Attributes attributes, std::string_view secret) {
  return {.itemClass = itemClass, .attributes = std::move(attributes), .secret = platform::Secret(secret)};
}

}  // namespace

OSStatus ItemStoreContract::add(ItemClass itemClass, Attributes attributes, std::string_view secret) {
  const Item item = itemOf(itemClass, std::move(attributes), secret);
  return store().add({&item, 1});
}

std::string ItemStoreContract::secretOf(const ItemMatch& match) {
  Item found;
  const OSStatus status = store().find(match, Want::attributesAndSecret, found);
  return status == errSecSuccess ? std::string(found.secret.view()) : "status " + std::to_string(status);
}

TEST_P(ItemStoreContract, GivesBackWhatItWasGivenByteForByte) {
  const std::string anyBytes("\0\xff\xc3(\n\xf0\x9f\x94\x91\0", 11);
  const std::string longText(65'536, 'x');
  Attributes all;
  for (const char* name : {"account", "server", "port", "protocol", "path", "authtype", "domain", "label",
                           "comment", "description", "access_name", "access_path_1", "type"})
    all[name] = name;
  const Item items[] = {
      itemOf(generic, {{"account", "alice"}, {"label", "A label"}}, "secret"),
      itemOf(generic, {{"account", "without a secret"}}, ""),
      itemOf(generic, {{"account", ""}, {"service", "s"}}, "an empty attribute"),
      itemOf(generic, {{"account", anyBytes}, {"label", anyBytes}, {"comment", anyBytes}}, anyBytes),
      itemOf(generic, {{"account", longText}, {"label", longText}}, longText),
      itemOf(generic, {{"account", longText + "y"}}, "alike for long"),
      itemOf(generic, {{"account", "data:,a%00b"}, {"label", "%41"}}, "what looks encoded"),
      itemOf(key, {{"tag", anyBytes}, {"keyclass", "public"}, {"bits", "2048"}, {"applabel", anyBytes}},
             std::string(4096, '\0')),
      itemOf(internet, all, "all attributes"),
  };
  for (const Item& item : items)
    ASSERT_EQ(store().add({&item, 1}), errSecSuccess) << item.secret.view().substr(0, 20);
  for (const Item& item : items) {
    for (const Want want : {Want::attributes, Want::attributesAndSecret}) {
      Item found;
      ASSERT_EQ(store().find({item.itemClass, item.attributes}, want, found), errSecSuccess);
      EXPECT_EQ(found.itemClass, item.itemClass);
      EXPECT_TRUE(found.attributes == item.attributes) << item.secret.view().substr(0, 20);
      EXPECT_TRUE(found.secret.view() == (want == Want::attributes ? "" : item.secret.view()));
    }
  }
}

TEST_P(ItemStoreContract, FindsTheOldestOfTheItemsThatEqualTheMatch) {
  ASSERT_EQ(add(generic, {{"account", "a"}, {"service", "s"}, {"label", "one"}}, "1"), errSecSuccess);
  ASSERT_EQ(add(generic, {{"account", "a"}, {"service", "s"}, {"type", "t"}, {"label", "two"}}, "2"),
            errSecSuccess);
  ASSERT_EQ(add(generic, {{"account", "a"}, {"service", "t"}, {"label", "two"}}, "3"), errSecSuccess);
  ASSERT_EQ(add(generic, {{"account", "a"}, {"service", ""}}, "4"), errSecSuccess);
  ASSERT_EQ(add(generic, {{"account", std::string("a\0b", 3)}, {"service", "s"}}, "5"), errSecSuccess);
  ASSERT_EQ(add(internet, {{"account", "a"}, {"server", "h"}}, "6"), errSecSuccess);
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
      {"another of many", {generic, {{"service", "s"}}}, "1"},
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

TEST_P(ItemStoreContract, TellsItemsApartByTheirIdentityAlone) {
  struct Row {
    ItemClass itemClass;
    std::vector<std::string> identity;
    std::vector<std::string> others;
  };
  const Row rows[] = {
      {generic, {"account", "service", "generic", "type"}, {"label", "comment", "description"}},
      {internet,
       {"account", "server", "port", "protocol", "path", "authtype", "domain"},
       {"label", "comment", "description", "type"}},
      {key, {"tag", "keyclass", "keytype", "bits"}, {"label", "applabel", "permanent"}},
  };
  for (const Row& row : rows) {
    ASSERT_EQ(add(row.itemClass, {{row.others[0], "x"}}), errSecSuccess) << "another class";
    for (const std::string& name : row.identity) {
      EXPECT_EQ(add(row.itemClass, {{name, ""}}), errSecDuplicateItem) << name << " empty, not missing";
      EXPECT_EQ(add(row.itemClass, {{name, "x"}}), errSecSuccess) << name;
      EXPECT_EQ(add(row.itemClass, {{name, "x"}, {row.others[0], "y"}}), errSecDuplicateItem) << name;
      EXPECT_EQ(add(row.itemClass, {{name, "y"}}), errSecSuccess) << name << " of another value";
    }
    for (const std::string& name : row.others)
      EXPECT_EQ(add(row.itemClass, {{name, "y"}}), errSecDuplicateItem) << name;
  }
}

TEST_P(ItemStoreContract, AddsSeveralOrNone) {
  ASSERT_EQ(add(key, {{"tag", "old"}, {"keyclass", "private"}}, "old"), errSecSuccess);
  struct Row {
    const char* name;
    std::vector<Attributes> items;
    OSStatus status;
  };
  const Row rows[] = {
      {"none", {}, errSecSuccess},
      {"the second is there",
       {{{"tag", "old"}, {"keyclass", "public"}}, {{"tag", "old"}, {"keyclass", "private"}}},
       errSecDuplicateItem},
      {"the first is there",
       {{{"tag", "old"}, {"keyclass", "private"}, {"label", "x"}}, {{"tag", "old"}, {"keyclass", "public"}}},
       errSecDuplicateItem},
      {"two of one identity", {{{"tag", "two"}}, {{"tag", "two"}, {"label", "x"}}}, errSecDuplicateItem},
      {"a pair",
       {{{"tag", "p"}, {"keyclass", "private"}}, {{"tag", "p"}, {"keyclass", "public"}}},
       errSecSuccess},
  };
  for (const Row& row : rows) {
    std::vector<Item> items;
    std::vector<std::string> before;
    for (const Attributes& attributes : row.items) {
      items.push_back(itemOf(key, attributes, row.name));
      before.push_back(secretOf({key, attributes}));
    }
    EXPECT_EQ(store().add(items), row.status) << row.name;
    for (std::size_t i = 0; i < items.size(); ++i) {
      EXPECT_EQ(secretOf({key, row.items[i]}), row.status == errSecSuccess ? row.name : before[i])
          << row.name;
    }
  }
}

TEST_P(ItemStoreContract, UpdatesAndRemovesTheFirstMatchAlone) {
  const ItemMatch all{generic, {{"account", "a"}}};
  const auto addOne = [this](const char* service) {
    return add(generic, {{"account", "a"}, {"service", service}, {"label", "L"}}, service);
  };
  const auto secrets = [this] {
    std::string text;
    for (const char* service : {"1", "2", "3"})
      text += secretOf({generic, {{"account", "a"}, {"service", service}, {"label", "L"}}}) + " ";
    return text;
  };
  EXPECT_EQ(store().updateSecret(all, platform::Secret("new")), errSecItemNotFound);
  EXPECT_EQ(store().remove(all), errSecItemNotFound);
  for (const char* service : {"1", "2", "3"}) ASSERT_EQ(addOne(service), errSecSuccess);

  EXPECT_EQ(store().updateSecret({generic, {{"account", "b"}}}, platform::Secret("new")), errSecItemNotFound);
  EXPECT_EQ(store().updateSecret({generic, {{"service", "2"}}}, platform::Secret("")), errSecSuccess);
  EXPECT_EQ(store().updateSecret(all, platform::Secret("new")), errSecSuccess);
  EXPECT_EQ(secrets(), "new  3 ") << "and nothing else was changed";

  EXPECT_EQ(store().remove({generic, {{"account", "b"}}}), errSecItemNotFound);
  EXPECT_EQ(store().remove(all), errSecSuccess);
  EXPECT_EQ(secretOf(all), "");
  EXPECT_EQ(addOne("1"), errSecSuccess);
  EXPECT_EQ(secretOf(all), "") << "what was added again is the youngest";
  EXPECT_EQ(store().remove({generic, {{"service", "2"}}}), errSecSuccess);
  EXPECT_EQ(secretOf(all), "3");
  EXPECT_EQ(store().remove(all) + store().remove(all), errSecSuccess);
  EXPECT_EQ(store().remove(all), errSecItemNotFound);
}

}  // namespace quelto::test
