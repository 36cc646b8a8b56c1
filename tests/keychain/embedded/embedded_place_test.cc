#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "keychain/embedded/failure.h"
#include "tests/keychain/embedded/embedded_surroundings.h"
#include "tests/support/processes.h"

namespace quelto::keychain {
namespace {

namespace fs = std::filesystem;
using platform::Secret;
using test::addItem;
using test::contentOf;
using test::findItem;
using test::KeychainFolder;
using test::matchOf;
using test::writeFile;

/// Every path below with its kind, mode and content.
std::string stateOf(const std::string& folder) {
  return test::shell("find " + folder + R"( -printf '%p %y %m ' -type f -exec cat {} \;)").text;
}

std::ptrdiff_t filesIn(const std::string& folder) {
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

/// What finding, adding, updating and removing answer: one number when they agree.
std::string answersOf(ItemStore& store) {
  const OSStatus found = findItem(store, "alice");
  std::string answers = std::to_string(found);
  for (const OSStatus status : {addItem(store, "bob"), store.updateSecret(matchOf("alice"), Secret("x")),
                                store.remove(matchOf("alice"))}) {
    if (status != found) answers += " " + std::to_string(status);
  }
  return answers;
}

std::string withBitFlipped(std::string content, std::size_t byte) {
  content[byte] = static_cast<char>(content[byte] ^ 1);
  return content;
}

TEST(EmbeddedPlace, IsRefusedAndLeftAloneWhenItIsNotAsItWas) {
  const struct {
    const char* name;
    /// Run in the keychain's folder.
    std::string command;
    const char* sql;
    OSStatus status;
  } rows[] = {
      {"folder that the group may enter", "chmod 710 .", "", errSecNotAvailable},
      {"group-readable database", "chmod 640 keychain.sqlite", "", errSecNotAvailable},
      {"read-only database", "chmod 400 keychain.sqlite", "", errSecNotAvailable},
      {"link to the database", "mv keychain.sqlite k && ln -s k keychain.sqlite", "", errSecNotAvailable},
      {"no database but a key", "rm keychain.[ls]*", "", errSecNotAvailable},
      {"no database but a lock", "rm keychain.s* master.key", "", errSecNotAvailable},
      {"no database but a journal", "rm keychain.sqlite keychain.lock master.key", "", errSecNotAvailable},
      {"somebody's folder", "chown 65534 .", "", errSecNotAvailable},
      {"somebody's database", "chown 65534 keychain.sqlite", "", errSecNotAvailable},
      {"somebody's key", "chown 65534 master.key", "", errSecNotAvailable},
      {"newer database", "", "PRAGMA user_version = 2; DROP INDEX item_by_main", errSecNotAvailable},
      {"newer database in WAL", "", "PRAGMA user_version = 2; PRAGMA journal_mode = WAL", errSecNotAvailable},
      {"database without a version", "", "PRAGMA user_version = 0", errSecIO},
      {"no item table", "", "DROP TABLE item", errSecIO},
      {"view for a table", "", "ALTER TABLE item RENAME TO i; CREATE VIEW item AS SELECT * FROM i", errSecIO},
      {"other bytes", "head -c 99999 /dev/zero >keychain.sqlite", "", errSecIO},
      {"group-readable key", "chmod 640 master.key", "", errSecNotAvailable},
      {"no key", "rm master.key", "", errSecAuthFailed},
      {"neither key nor key check", "rm master.key", "DELETE FROM key_check", errSecAuthFailed},
      {"another's key check", "", "UPDATE key_check SET sealed = (SELECT sealed FROM item)",
       errSecAuthFailed},
      {"key cut short", "truncate -s 31 master.key", "", errSecAuthFailed},
      {"key with more behind it", "truncate -s 33 master.key", "", errSecAuthFailed},
  };
  for (const auto& row : rows) {
    if (row.command.starts_with("chown") && ::geteuid() != 0) continue;
    SCOPED_TRACE(row.name);
    const KeychainFolder folder;
    EmbeddedKeychain open(folder.path());
    ASSERT_EQ(addItem(open, "alice"), errSecSuccess);
    folder.runSql(row.sql);
    ASSERT_EQ(
        std::system(("cd " + folder.path() + (row.command.empty() ? "" : " && ") + row.command).c_str()), 0);
    const std::string before = stateOf(folder.above());
    EXPECT_EQ(answersOf(open), std::to_string(row.status)) << "opened before";
    // A slash at the end would follow a link.
    EmbeddedKeychain later(folder.path() + "/");
    EXPECT_EQ(answersOf(later), std::to_string(row.status));
    EXPECT_TRUE(stateOf(folder.above()) == before);
  }
}

/// With one item, alice's.
class EmbeddedItem : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(addItem(store, "alice"), errSecSuccess); }

  KeychainFolder folder;
  EmbeddedKeychain store{folder.path()};
};

TEST_F(EmbeddedItem, IsRemovedByNoTriggerThatSomebodyPutThere) {
  folder.runSql("CREATE TRIGGER t AFTER INSERT ON item BEGIN DELETE FROM item WHERE id = 1; END");
  EXPECT_EQ(addItem(store, "bob"), errSecSuccess);
  EXPECT_EQ(findItem(store, "alice"), errSecSuccess);
}

TEST_F(EmbeddedItem, IsNotGivenOutWrongWhereverAFileIsCutOrABitIsTurned) {
  const std::string key = contentOf(folder.key());
  for (std::size_t byte = 0; byte < key.size(); ++byte) {
    writeFile(folder.key(), withBitFlipped(key, byte));
    EXPECT_EQ(answersOf(*folder.opened()), std::to_string(errSecAuthFailed));
  }
  writeFile(folder.key(), key);
  const std::string whole = contentOf(folder.database());
  for (std::size_t length = 0; length < whole.size(); length += length < 110 ? 1 : 509) {
    writeFile(folder.database(), whole.substr(0, length));
    EXPECT_EQ(answersOf(*folder.opened()), std::to_string(errSecIO)) << length;
    EXPECT_TRUE(contentOf(folder.database()) == whole.substr(0, length)) << length;
  }
  for (std::size_t byte = 0; byte < whole.size(); byte += 7) {
    if (whole[byte] == '\0') continue;
    writeFile(folder.database(), withBitFlipped(whole, byte));
    EXPECT_NE(findItem(*folder.opened(), "alice"), errSecParam) << byte;
  }
  writeFile(folder.database(), whole);
  EXPECT_EQ(findItem(*folder.opened(), "alice"), errSecSuccess);
}

TEST(EmbeddedPlace, IsMadeByTheFirstItemForItsOwnerOnly) {
  struct Row {
    mode_t mask;
    /// With what a process left behind that was killed before it had made anything.
    bool isFolderThere;
  };
  for (const Row& row : {Row{0000, false}, Row{0077, false}, Row{0000, true}, Row{0777, false}}) {
    const KeychainFolder folder;
    const std::string below = folder.path() + "/below";
    EmbeddedKeychain store(below);
    EXPECT_EQ(findItem(store, "alice"), errSecItemNotFound);
    EXPECT_FALSE(fs::exists(folder.path())) << "a look-up leaves no trace";
    if (row.isFolderThere) {
      fs::create_directories(below);
      fs::permissions(below, fs::perms{0700});
      writeFile(below + "/keychain.sqlite.new-0123456789abcdef", "");
      fs::permissions(below + "/keychain.sqlite.new-0123456789abcdef", fs::perms{0600});
      EXPECT_EQ(findItem(store, "alice"), errSecItemNotFound);
    }
    const mode_t before = ::umask(row.mask);
    EXPECT_EQ(addItem(store, "alice"), errSecSuccess);
    ::umask(before);
    EXPECT_EQ(fs::status(folder.path()).permissions(), fs::perms{row.isFolderThere ? 0755U : 0700U});
    EXPECT_EQ(fs::status(below).permissions(), fs::perms{0700});
    for (const auto& entry : fs::directory_iterator(below)) {
      EXPECT_EQ(entry.status().permissions(), fs::perms{0600}) << entry.path();
    }
    EXPECT_EQ(filesIn(below), row.isFolderThere ? 5 : 4) << "database, journal, key, lock";
    fs::remove_all(folder.path());
    EXPECT_EQ(answersOf(store), std::to_string(errSecNotAvailable)) << "not made anew by who saw it vanish";
    EXPECT_FALSE(fs::exists(folder.path()));
  }
}

TEST(EmbeddedPlace, MayBeAsDeepAsTheSystemAllows) {
  const struct {
    std::size_t length;
    OSStatus status;
  } rows[] = {{600, errSecSuccess}, {3000, errSecSuccess}, {5000, errSecNotAvailable}};
  for (const auto& row : rows) {
    const KeychainFolder folder;
    std::string deep = folder.above();
    while (deep.size() + 200 < row.length) deep += "/" + std::string(190, 'x');
    deep += "/" + std::string(row.length - deep.size() - 1, 'y');
    EmbeddedKeychain store(deep);
    EXPECT_EQ(addItem(store, "alice"), row.status) << row.length;
    EXPECT_EQ(findItem(*std::make_unique<EmbeddedKeychain>(deep), "alice"), row.status) << row.length;
    if (row.status != errSecSuccess) continue;
    fs::create_symlink(fs::path(deep).parent_path(), folder.above() + "/link");
    EmbeddedKeychain linked(folder.above() + "/link/" + fs::path(deep).filename().string());
    EXPECT_EQ(findItem(linked, "alice") + addItem(linked, "bob"), errSecSuccess) << row.length;
    EXPECT_EQ(findItem(store, "bob"), errSecSuccess) << row.length;
    EXPECT_EQ(filesIn(deep), 4) << row.length;
  }
}

TEST_F(EmbeddedItem, IsLookedForAnewWhenABackupTookItsPlace) {
  fs::copy(folder.database(), folder.above() + "/backup");
  ASSERT_EQ(addItem(store, "bob"), errSecSuccess);
  fs::rename(folder.above() + "/backup", folder.database());
  EXPECT_EQ(findItem(store, "bob"), errSecItemNotFound);
  EXPECT_EQ(addItem(store, "carol"), errSecSuccess);
  EXPECT_EQ(findItem(*folder.opened(), "carol"), errSecSuccess);
}

TEST_F(EmbeddedItem, IsInADatabaseThatIsNotOpenedThroughALink) {
  fs::rename(folder.database(), folder.above() + "/elsewhere");
  fs::create_symlink(folder.above() + "/elsewhere", folder.database());
  EXPECT_THROW(folder.runSql("DELETE FROM item"), embedded::Failure)
      << "a link that comes after the look at it";
}

TEST(AlteredEmbeddedItem, IsNotGivenOutAndInNobodysWay) {
  const ItemMatch alice = matchOf("alice");
  // alice is row 1, mallory row 2
  const struct {
    const char* name;
    const char* change;
    OSStatus status = errSecAuthFailed;
    OSStatus statusAnywhere = errSecAuthFailed;
    ItemClass itemClass = ItemClass::genericPassword;
  } rows[] = {
      {"copied secret", "sealed = (SELECT sealed FROM item WHERE id = 2)"},
      {"copied row", "(attributes, sealed) = (SELECT attributes, sealed FROM item WHERE id = 2)"},
      {"exchanged attributes", "attributes = (SELECT attributes FROM item WHERE id = 2)"},
      {"no attributes of ours", "attributes = x'00000001'"},
      {"another label", "attributes = CAST(replace(CAST(attributes AS TEXT), 'svn: a', 'svn: A') AS BLOB)"},
      {"another number", "id = 3"},
      {"no secret", "sealed = x''"},
      {"other nonce", "sealed = CAST(zeroblob(12) || substr(sealed, 13) AS BLOB)"},
      {"shorter secret", "sealed = substr(sealed, 1, 30)"},
      {"other tag", "sealed = CAST(substr(sealed, 1, length(sealed) - 16) || zeroblob(16) AS BLOB)"},
      {"another class", "class = 2", errSecItemNotFound, errSecAuthFailed, ItemClass::internetPassword},
      {"another column", "main = x'00'", errSecItemNotFound, errSecSuccess},
      {"another column and label",
       "main = x'00', attributes = CAST(replace(CAST(attributes AS TEXT), 'svn: a', 'svn: A') AS BLOB)",
       errSecItemNotFound},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const KeychainFolder folder;
    EmbeddedKeychain store(folder.path());
    ASSERT_EQ(addItem(store, "alice") + addItem(store, "mallory"), errSecSuccess);
    folder.runSql("UPDATE item SET " + std::string(row.change) + " WHERE id = 1");
    EXPECT_EQ(findItem(store, "alice"), row.status);
    const ItemMatch aliceAnywhere{row.itemClass, {{"account", "alice"}}};
    EXPECT_EQ(findItem(store, "alice", aliceAnywhere), row.statusAnywhere);
    EXPECT_EQ(store.updateSecret(alice, Secret("x")), row.status);
    EXPECT_EQ(findItem(store, "mallory") + addItem(store, "bob"), errSecSuccess);
    EXPECT_EQ(addItem(store, "mallory"), errSecDuplicateItem);

    EXPECT_EQ(addItem(store, "alice") + findItem(store, "alice"), errSecSuccess) << "in its own way";
    EXPECT_EQ(store.remove(alice), errSecSuccess);
    EXPECT_EQ(findItem(store, "alice"), row.status) << "the one that is intact was removed";
    // By its own values, or where it is now.
    EXPECT_EQ(store.remove(row.status == errSecAuthFailed ? alice : aliceAnywhere), errSecSuccess);
    EXPECT_EQ(findItem(store, "mallory") + findItem(store, "bob"), errSecSuccess);
    EXPECT_EQ(findItem(store, "alice", aliceAnywhere), errSecItemNotFound);
    EXPECT_EQ(store.remove({ItemClass::internetPassword, {}}), errSecItemNotFound);
  }
}

TEST_F(EmbeddedItem, IsNeitherGivenOutNorRemovedForAColumnThatIsWrongAboutIt) {
  ASSERT_EQ(addItem(store, "bob"), errSecSuccess);
  folder.runSql("UPDATE item SET main = CAST('other' AS BLOB) WHERE id = 2");
  const ItemMatch other{ItemClass::genericPassword, {{"service", "other"}}};
  EXPECT_EQ(findItem(store, "bob", other), errSecAuthFailed);
  EXPECT_EQ(findItem(store, "bob"), errSecItemNotFound);
  EXPECT_EQ(store.remove(other), errSecItemNotFound);
  EXPECT_EQ(findItem(store, "bob"), errSecSuccess) << "the column was put right";
  EXPECT_EQ(findItem(store, "bob", other), errSecItemNotFound);
}

TEST_F(EmbeddedItem, IsSealedForItsNumberWhichNoOtherGets) {
  folder.runSql("CREATE TABLE old AS SELECT * FROM item");
  ASSERT_EQ(store.remove(matchOf("alice")) + addItem(store, "alice"), errSecSuccess);
  folder.runSql("UPDATE item SET (attributes, sealed) = (SELECT attributes, sealed FROM old)");
  EXPECT_EQ(findItem(store, "alice"), errSecAuthFailed) << "a secret that was removed";
}

TEST_F(EmbeddedItem, LeavesNoPlainSecretAndNothingOfWhatWasRemoved) {
  EXPECT_EQ(contentOf(folder.database()).find("secret of alice"), std::string::npos);
  EXPECT_NE(contentOf(folder.database()).find("svn: alice"), std::string::npos);
  ASSERT_EQ(store.remove(matchOf("alice")), errSecSuccess);
  EXPECT_EQ(contentOf(folder.database()).find("svn: alice"), std::string::npos);
}

}  // namespace
}  // namespace quelto::keychain

namespace quelto::test {

constexpr const char* place = "QUELTO_TEST_KEYCHAIN";

struct EmptyFolder final : StoreSurroundings {
  EmptyFolder() { ::setenv(place, folder.path().c_str(), 1); }
  KeychainFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Embedded, ItemStoreContract,
                         testing::Values(StoreKind{
                             .name = "embedded", .surround = std::make_unique<EmptyFolder>, .open = [] {
                               return std::make_shared<keychain::EmbeddedKeychain>(std::getenv(place));
                             }}));

}  // namespace quelto::test
