#include "tests/keychain/item_store_contract.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <future>
#include <vector>

#include "tests/support/processes.h"

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

void expectFound(ItemStore& store, const Attributes& match, const Item& item) {
  for (const Want want : {Want::attributes, Want::attributesAndSecret}) {
    Item found;
    ASSERT_EQ(store.find({item.itemClass, match}, want, found), errSecSuccess);
    EXPECT_EQ(found.itemClass, item.itemClass);
    EXPECT_TRUE(found.attributes == item.attributes) << item.secret.view().substr(0, 20);
    EXPECT_TRUE(found.secret.view() == (want == Want::attributes ? "" : item.secret.view()));
  }
}

}  // namespace

OSStatus ItemStoreContract::add(ItemClass itemClass, Attributes attributes, std::string_view secret) {
  const Item item = itemOf(itemClass, std::move(attributes), secret);
  return store().add({&item, 1});
}

TEST_P(ItemStoreContract, GivesBackWhatItWasGivenByteForByte) {
  const std::string anyBytes("\0\xff\xc3(\n\xf0\x9f\x94\x91\0", 11);
  const std::string longText(65'536, 'x');
  Attributes all;
  for (const char* name : {"account", "server", "port", "protocol", "path", "authtype", "domain", "label",
                           "comment", "description", "access_name", "access_path_1", "type"})
    all[name] = name;
  std::vector<Item> items;
  items.push_back(itemOf(generic, {{"account", "without a secret or a label"}}, ""));
  items.push_back(itemOf(generic, {{"account", longText}, {"label", longText}}, longText));
  items.push_back(itemOf(generic, {{"account", longText + "y"}}, "alike for long"));
  items.push_back(
      itemOf(key, {{"tag", anyBytes}, {"keyclass", "public"}, {"bits", "2048"}, {"applabel", anyBytes}},
             std::string(4096, '\0')));
  items.push_back(itemOf(internet, all, "all attributes"));
  for (const std::string& value :
       {std::string("Zo\u00EB <a&b> %41"), std::string(), anyBytes, std::string("data:,a%00b"),
        std::string("data:,"), std::string("%41"), std::string("data:,a%zz"), std::string("\xff\xed\xa0\x80"),
        std::string("\r\n\t\x1b\x7f")})
    items.push_back(itemOf(generic, {{"account", value}, {"label", value}, {"comment", value}}, value));
  for (const Item& item : items)
    ASSERT_EQ(store().add({&item, 1}), errSecSuccess) << item.secret.view().substr(0, 20);
  for (const bool isRestarted : {false, true}) {
    if (isRestarted) restart();
    for (const Item& item : items) {
      expectFound(store(), item.attributes, item);
      if (const auto label = item.attributes.find("label"); label != item.attributes.end())
        expectFound(store(), {*label}, item);
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
  const struct {
    const char* name;
    ItemMatch match;
    std::string secret;
  } rows[] = {
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
  for (const auto& row : rows) EXPECT_EQ(secretOf(row.match), row.secret) << row.name;
}

TEST_P(ItemStoreContract, TellsItemsApartByTheirIdentityAlone) {
  const struct {
    ItemClass itemClass;
    std::vector<std::string> identity;
    std::vector<std::string> others;
  } rows[] = {
      {generic, {"account", "service", "generic", "type"}, {"label", "comment", "description"}},
      {internet,
       {"account", "server", "port", "protocol", "path", "authtype", "domain"},
       {"label", "comment", "description", "type"}},
      {key, {"tag", "keyclass", "keytype", "bits"}, {"label", "applabel", "permanent"}},
  };
  for (const auto& row : rows) {
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
  const struct {
    const char* name;
    std::vector<Attributes> items;
    OSStatus status;
  } rows[] = {
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
  for (const auto& row : rows) {
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

TEST_P(ItemStoreContract, TakesTheOldestFirstAlsoWithinOneSecond) {
  // More than ten, so that numbers of one and of two digits are compared.
  std::vector<std::string> accounts;
  for (char letter = 'l'; letter >= 'a'; --letter) accounts.emplace_back(1, letter);
  for (const std::string& account : accounts) ASSERT_EQ(addItem(store(), account), errSecSuccess);
  restart();
  EXPECT_EQ(takeAccounts(store()), accounts);
}

namespace {

constexpr int processes = 5;
constexpr int writersOfEach = 3;
constexpr int rounds = 4;
/// Ends a process in which something went wrong; the others end with the number of the pairs that they made.
constexpr int failed = 100;

/// Repeats a call that ran out of time, as one may on a busy machine. It may have been carried out all the
/// same: then `again` is the status of the next one.
OSStatus finally(const std::function<OSStatus()>& call, OSStatus again) {
  OSStatus status = call();
  for (int tries = 0; status == errSecNotAvailable && tries < 20; ++tries) {
    status = call();
    if (status == again) return errSecSuccess;
  }
  return status;
}

/// In each round adds two items, changes one and removes the other, and adds a pair that all others add, too.
int write(ItemStore& store, const std::string& name) {
  int pairs = 0;
  for (int round = 0; round < rounds; ++round) {
    const std::string kept = name + std::to_string(round);
    const std::string removed = kept + "-";
    const struct {
      std::function<OSStatus()> call;
      OSStatus again;
    } steps[] = {
        {[&] { return addItem(store, kept); }, errSecDuplicateItem},
        {[&] { return addItem(store, removed); }, errSecDuplicateItem},
        {[&] { return store.updateSecret(matchOf(kept), platform::Secret("changed")); }, errSecSuccess},
        {[&] { return store.remove(matchOf(removed)); }, errSecItemNotFound},
    };
    for (const auto& [call, again] : steps)
      if (finally(call, again) != errSecSuccess) return failed;
    const auto addIt = [&] { return addPair(store, std::to_string(round), name); };
    const OSStatus status = finally(addIt, errSecSuccess);
    if (status != errSecSuccess && status != errSecDuplicateItem) return failed;
    pairs += status == errSecSuccess ? 1 : 0;
  }
  return pairs;
}

/// Looks, as long as somebody writes, for the oldest item, which is never touched, and for pairs of which
/// only one half is there. A look may run out of time.
int read(ItemStore& store, const std::atomic<int>& writing) {
  const std::string noAnswer = "status " + std::to_string(errSecNotAvailable);
  while (writing > 0) {
    const std::string oldest = secretOf(store, {generic, {{"service", "svn"}}});
    if (oldest != "secret of untouched" && oldest != noAnswer) return failed;
    for (int round = 0; round < rounds; ++round) {
      for (const auto& [half, other] : {std::pair{"private", "public"}, {"public", "private"}}) {
        const std::string maker = secretOf(store, halfOf(std::to_string(round), half));
        if (maker == noAnswer || maker == notFound) continue;
        const std::string makerOfOther = secretOf(store, halfOf(std::to_string(round), other));
        if (makerOfOther != maker && makerOfOther != noAnswer) return failed;
      }
    }
  }
  return 0;
}

/// Several threads that write, and one that reads, in one process.
int useAtOnce(ItemStore& store, const std::string& process) {
  std::atomic<int> writing = writersOfEach;
  std::vector<std::future<int>> threads;
  for (int writer = 0; writer < writersOfEach; ++writer) {
    threads.push_back(std::async(std::launch::async, [&, name = process + std::to_string(writer) + "/"] {
      const int pairs = write(store, name);
      --writing;
      return pairs;
    }));
  }
  threads.push_back(std::async(std::launch::async, [&] { return read(store, writing); }));
  int pairs = 0;
  for (auto& thread : threads) pairs += thread.get();
  return pairs;
}

}  // namespace

TEST_P(ItemStoreContract, LosesAndTearsNothingHoweverManyUseItAtOnce) {
  if (const char* const process = std::getenv(isOneOfMany); process != nullptr)
    ::_exit(useAtOnce(store(), process));
  ASSERT_EQ(addItem(store(), "untouched"), errSecSuccess);
  const testing::TestInfo& info = *testing::UnitTest::GetInstance()->current_test_info();
  const std::string program = " " + std::filesystem::read_symlink("/proc/self/exe").string() +
                              " --gtest_filter=" + info.test_suite_name() + "." + info.name();
  std::vector<std::future<int>> ends;
  for (char process = 'a'; process < 'a' + processes; ++process) {
    ends.push_back(std::async(std::launch::async, [&, process] {
      return shell("env " + std::string(isOneOfMany) + "=" + process + program).status;
    }));
  }
  int pairs = 0;
  for (auto& end : ends) pairs += end.get();
  EXPECT_LE(pairs, rounds) << "one maker each, or none when its call ran out of time";
  for (int round = 0; round < rounds; ++round) {
    const std::string maker = makerOf(store(), std::to_string(round));
    EXPECT_TRUE(maker != "nobody" && maker != "torn") << maker;
    for (char process = 'a'; process < 'a' + processes; ++process) {
      for (int writer = 0; writer < writersOfEach; ++writer) {
        const std::string kept = process + std::to_string(writer) + "/" + std::to_string(round);
        EXPECT_EQ(secretOf(matchOf(kept)), "changed") << kept;
        EXPECT_EQ(secretOf(matchOf(kept + "-")), notFound) << kept;
      }
    }
  }
  EXPECT_EQ(findItem(store(), "untouched"), errSecSuccess);
}

}  // namespace quelto::test
