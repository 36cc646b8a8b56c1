#include "launcher/host_accounts.h"

#include <gtest/gtest.h>

#include "credentials/keychain_items.h"
#include "keychain/item_place.h"
#include "keychain/sec_item.h"
#include "securefile/key_file.h"
#include "tests/support/new_process.h"
#include "tests/support/sessions.h"

namespace quelto::launcher {
namespace {

using items::InternetPassword;
using platform::Secret;
using securefile::KeyFile;
using test::inNewProcess;
using test::Session;

struct Store {
  const char* name;
  Session session;
  /// The value of AUTH_STORE.
  const char* number;
};
std::ostream& operator<<(std::ostream& out, const Store& store) { return out << store.name; }

constexpr Store stores[] = {
    {"keyring", Session::desktop, "0"}, {"embedded", Session::server, "0"}, {"file", Session::server, "1"}};

Request requestFor(std::string host, std::int64_t port = 0, std::string group = "org.group") {
  return {._host = std::move(host), .settings = {.port = port}, .group_Id = std::move(group)};
}

HostAccounts accountsOf(const Request& request) {
  Program program = thisProgram();
  EXPECT_TRUE(program.mainExecutable->ends_with("/Contents/MacOS/quelto"));
  program.mainExecutable = "/usr/bin/env";  // one that exists
  return {request, program};
}

class HostAccountsTest : public testing::TestWithParam<Store> {
 protected:
  HostAccountsTest() { user_.around().set("AUTH_STORE", GetParam().number); }

  [[nodiscard]] bool isFile() const { return GetParam().number[0] == '1'; }

  void use() const {
    if (isFile()) KeyFile::initSecureKey({.filePath = user_.data("keys")});
  }

  /// Stores an item as another program of the group may.
  void add(const items::SecPasswordStruct& item, const char* password) const {
    EXPECT_TRUE(isFile() ? KeyFile::addSecItem(item, Secret(password))
                         : credentials::addSecItem({.settings = item, .password = Secret(password)}));
  }

  test::User user_{GetParam().session};
};
INSTANTIATE_TEST_SUITE_P(In, HostAccountsTest, testing::ValuesIn(stores), testing::PrintToStringParamName());

TEST_P(HostAccountsTest, RememberAndForgetAName) {
  inNewProcess([&] {
    use();
    const HostAccounts accounts = accountsOf(requestFor("h"));
    EXPECT_EQ(accounts.loadSavedAccount(), "");
    accounts.saveAccount(" dave\t");
    accountsOf(requestFor("other")).saveAccount("erin");
    accountsOf(requestFor("h", 0, "org.another")).saveAccount("frank");
    EXPECT_EQ(accounts.loadSavedAccount(), "dave") << "trimmed when it is read";
    accounts.saveAccount("grace");
    EXPECT_EQ(accounts.loadSavedAccount(), "grace");
    EXPECT_EQ(accountsOf(requestFor("h", 2222)).loadSavedAccount(), "grace") << "whatever the port";
    accounts.deleteAccount();
    EXPECT_EQ(accounts.loadSavedAccount(), "");
    EXPECT_EQ(accountsOf(requestFor("other")).loadSavedAccount(), "erin");
    EXPECT_EQ(accountsOf(requestFor("h", 0, "org.another")).loadSavedAccount(), "frank");
    const std::string nameless = accountsOf(requestFor("")).loadSavedAccount();
    EXPECT_EQ(nameless, isFile() ? "erin" : "") << "in the file a note without a name is looked up by any";
  });
}

TEST_P(HostAccountsTest, KeepANoteThatAPersonCanRead) {
  inNewProcess([&] {
    use();
    accountsOf(requestFor("h")).saveAccount("dave");
    const items::SecureNote note{.account = "org.quelto.suite",
                                 .name = "h",
                                 .generic = "org.group.ssh_account",
                                 .label = "Quelto Suite - SSH account: h",
                                 .comment = "dave"};
    if (isFile()) {
      const auto section = KeyFile::findSecItem(note);
      ASSERT_TRUE(section);
      EXPECT_EQ(*section->find("label"), *note.label);
      EXPECT_EQ(*section->find("comment"), *note.comment);
      return;
    }
    EXPECT_EQ(keychain::SecItemCopyMatching(note.buildMatchDicton(), nullptr), keychain::errSecSuccess);
    keychain::Item item;
    ASSERT_EQ(keychain::settledStore().store->find({}, keychain::ItemStore::Want::attributes, item),
              keychain::errSecSuccess);
    EXPECT_EQ(item.attributes["access_name"], "Quelto Suite Keychain item");
    const std::string tool = "/Contents/Resources/queltoSSH";
    EXPECT_TRUE(item.attributes["access_path_1"].ends_with(tool));
    EXPECT_EQ(item.attributes["access_path_2"], "/usr/bin/env") << "the program that the tool belongs to";
  });
}

TEST_P(HostAccountsTest, FindTheAccountOfAPassword) {
  const auto account = [](const char* name, const char* server, std::uint16_t port) {
    return InternetPassword{.account = name,
                            .server = server,
                            .port = port,
                            .scheme = items::SecProtocolType{0x73736820},
                            .auth = items::SecAuthenticationType{0x746C6664},
                            .domain = "org.group.ssh_password"};
  };
  InternetPassword ftp = account("ftp", "f", 22);
  ftp.scheme = items::SecProtocolType{0x66747020};
  InternetPassword foreign = account("foreign", "f", 22);
  foreign.domain = "org.another.ssh_password";
  const struct {
    const char* host;
    std::int64_t port;
    const char* account;
  } rows[] = {{"h", 0, " carol "}, {"h", 22, " carol "}, {"h", 2222, "dan"},        {"h", 23, ""},
              {"f", 22, ""},       {"h", -1, ""},        {"h", 22 + (1 << 16), ""}, {"", 22, ""}};
  inNewProcess([&] {
    use();
    for (const auto& item : {account(" carol ", "h", 22), account("dan", "h", 2222), ftp, foreign})
      add(item, "p");
    for (const auto& row : rows) {
      EXPECT_EQ(accountsOf(requestFor(row.host, row.port)).loadPasswordAccount(), row.account)
          << row.host << ":" << row.port;
    }
  });
}

}  // namespace
}  // namespace quelto::launcher
