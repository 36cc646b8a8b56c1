#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/keychain/embedded/item_index.h"
#include "platform/keychain/embedded/master_key.h"
#include "platform/keychain/embedded/stored_item.h"
#include "platform/keychain/embedded/transaction.h"
#include "platform/keychain/failure.h"
#include "platform/module.h"
#include "tests/platform/keychain/embedded_surroundings.h"
#include "tests/platform/keychain/item_store_contract.h"

namespace quelto::platform::keychain {
namespace {

namespace fs = std::filesystem;
using test::addItem;
using test::findItem;
using test::ItemStoreContract;
using test::KeychainFolder;
using test::matchOf;
using Want = ItemStore::Want;

class EmbeddedUnderTest final : public test::StoreUnderTest {
 public:
  [[nodiscard]] ItemStore& store() override { return store_; }

 private:
  KeychainFolder folder_;
  EmbeddedKeychain store_{folder_.path()};
};

INSTANTIATE_TEST_SUITE_P(Embedded, ItemStoreContract,
                         testing::Values(test::StoreKind{
                             "embedded", [] { return std::make_unique<EmbeddedUnderTest>(); }}));

TEST(EmbeddedModule, OpensOneKeychainForEachFolder) {
  const auto open = reinterpret_cast<decltype(&queltoOpenEmbeddedKeychain)>(
      moduleEntry("libquelto_embedded_keychain.so", "queltoOpenEmbeddedKeychain"));
  ASSERT_NE(open, nullptr);
  const KeychainFolder one;
  const KeychainFolder other;
  EXPECT_EQ(addItem(*open(one.path().c_str()), "alice"), errSecSuccess);
  EXPECT_EQ(open(one.path().c_str()), open(one.path().c_str()));
  EXPECT_EQ(findItem(*open(one.path().c_str()), "alice"), errSecSuccess);
  EXPECT_EQ(findItem(*open(other.path().c_str()), "alice"), errSecItemNotFound);
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return (std::stringstream() << file.rdbuf()).str();
}

void write(const fs::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

/// Every path below with its kind, mode and content.
std::map<std::string, std::string> stateOf(const std::string& folder) {
  std::map<std::string, std::string> state;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const auto status = entry.symlink_status();
    state[entry.path()] = std::to_string(static_cast<int>(status.type())) + " " +
                          std::to_string(static_cast<unsigned>(status.permissions())) + " " +
                          (fs::is_regular_file(status) ? contentOf(entry.path()) : "");
  }
  return state;
}

/// What finding, adding, updating and removing answer: one number when they agree.
std::string answersOf(ItemStore& store) {
  const OSStatus found = findItem(store, "alice");
  std::string answers = std::to_string(found);
  for (const OSStatus status :
       {addItem(store, "bob"), store.updateSecret(matchOf("alice"), HowMany::all, Secret("x")),
        store.remove(matchOf("alice"), HowMany::all)}) {
    if (status != found) answers += " " + std::to_string(status);
  }
  return answers;
}

std::string withBitFlipped(std::string content, std::size_t byte) {
  content[byte] = static_cast<char>(content[byte] ^ 1);
  return content;
}

struct PlaceRow {
  const char* name;
  /// Run in the keychain's folder.
  const char* command;
  const char* sql;
  OSStatus status;
  bool forRootOnly = false;
};

const PlaceRow placeRows[] = {
    {"folder that the group may enter", "chmod 710 .", "", errSecNotAvailable},
    {"folder that all may read", "chmod 704 .", "", errSecNotAvailable},
    {"read-only folder", "chmod 500 .", "", errSecNotAvailable},
    {"folder of somebody else", "chown 65534 .", "", errSecNotAvailable, true},
    {"link to the folder", "mv ../keychain ../k && ln -s k ../keychain", "", errSecNotAvailable},
    {"file for a folder", "rm -r ../keychain && : >../keychain", "", errSecNotAvailable},
    {"group-readable database", "chmod 640 keychain.sqlite", "", errSecNotAvailable},
    {"read-only database", "chmod 400 keychain.sqlite", "", errSecNotAvailable},
    {"database of somebody else", "chown 65534 keychain.sqlite", "", errSecNotAvailable, true},
    {"link to the database", "mv keychain.sqlite k && ln -s k keychain.sqlite", "", errSecNotAvailable},
    {"FIFO for a database", "rm keychain.sqlite && mkfifo -m 600 keychain.sqlite", "", errSecNotAvailable},
    {"no database but a key", "rm keychain.sqlite", "", errSecNotAvailable},
    {"newer database", "", "PRAGMA user_version = 2; DROP TABLE entry", errSecNotAvailable},
    {"no item table", "", "DROP TABLE item", errSecIO},
    {"other bytes", "head -c 99999 /dev/zero >keychain.sqlite", "", errSecIO},
    {"group-readable key", "chmod 640 master.key", "", errSecNotAvailable},
    {"key of somebody else", "chown 65534 master.key", "", errSecNotAvailable, true},
    {"link to the key", "mv master.key k && ln -s k master.key", "", errSecNotAvailable},
    {"no key", "rm master.key", "", errSecAuthFailed},
    {"neither key nor key check", "rm master.key", "DELETE FROM key_check", errSecAuthFailed},
    {"another's key check", "", "UPDATE key_check SET sealed = (SELECT sealed FROM item)", errSecAuthFailed},
    {"empty key", ": >master.key", "", errSecAuthFailed},
    {"key cut short", "truncate -s 31 master.key", "", errSecAuthFailed},
    {"key with more behind it", "truncate -s 33 master.key", "", errSecAuthFailed},
};

TEST(EmbeddedPlace, IsRefusedAndLeftAloneWhenItIsNotAsItWas) {
  for (const PlaceRow& row : placeRows) {
    if (row.forRootOnly && ::geteuid() != 0) continue;  // only root can give a file away
    const KeychainFolder folder;
    EmbeddedKeychain open(folder.path());
    ASSERT_EQ(addItem(open, "alice"), errSecSuccess);
    folder.runSql(row.sql);
    ASSERT_EQ(
        std::system(("cd " + folder.path() + " && " + (*row.command != '\0' ? row.command : ":")).c_str()),
        0);
    const auto before = stateOf(folder.above());
    EXPECT_EQ(answersOf(open), std::to_string(row.status)) << row.name << ", opened before";
    // A slash at the end would follow a link.
    EmbeddedKeychain later(folder.path() + "/");
    EXPECT_EQ(answersOf(later), std::to_string(row.status)) << row.name;
    EXPECT_TRUE(stateOf(folder.above()) == before) << row.name;
  }
}

TEST(EmbeddedPlace, IsRefusedWhenAnyBitOfTheKeyIsTurnedOrTheDatabaseIsCutAnywhere) {
  const KeychainFolder folder;
  ASSERT_EQ(addItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecSuccess);
  const std::string key = contentOf(folder.key());
  for (std::size_t byte = 0; byte < key.size(); ++byte) {
    write(folder.key(), withBitFlipped(key, byte));
    EXPECT_EQ(answersOf(*std::make_unique<EmbeddedKeychain>(folder.path())),
              std::to_string(errSecAuthFailed));
  }
  write(folder.key(), key);
  const std::string whole = contentOf(folder.database());
  for (std::size_t length = 0; length < whole.size(); length += length < 110 ? 1 : 509) {
    write(folder.database(), whole.substr(0, length));
    EXPECT_EQ(answersOf(*std::make_unique<EmbeddedKeychain>(folder.path())), std::to_string(errSecIO))
        << length;
    EXPECT_TRUE(contentOf(folder.database()) == whole.substr(0, length)) << length;
  }
  write(folder.database(), whole);
  EXPECT_EQ(findItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecSuccess);
}

TEST(EmbeddedPlace, IsMadeByTheFirstItemForItsOwnerOnly) {
  struct Row {
    mode_t mask;
    bool isFolderThere;
  };
  for (const Row& row : {Row{0000, false}, Row{0077, false}, Row{0000, true}, Row{0777, true}}) {
    const KeychainFolder folder;
    const std::string below = folder.path() + "/below";
    EmbeddedKeychain store(below);
    EXPECT_EQ(findItem(store, "alice"), errSecItemNotFound);
    EXPECT_FALSE(fs::exists(folder.path())) << "a look-up leaves no trace";
    if (row.isFolderThere) fs::create_directories(below);
    if (row.isFolderThere) fs::permissions(below, fs::perms{0700});
    const mode_t before = ::umask(row.mask);
    EXPECT_EQ(addItem(store, "alice"), errSecSuccess);
    ::umask(before);
    EXPECT_EQ(fs::status(below).permissions(), fs::perms{0700});
    for (const auto& entry : fs::directory_iterator(below)) {
      EXPECT_EQ(entry.status().permissions(), fs::perms{0600}) << entry.path();
    }
    EXPECT_EQ(stateOf(below).size(), 4U) << "database, journal, key, queue";
    fs::remove_all(folder.path());
    EXPECT_EQ(answersOf(store), std::to_string(errSecNotAvailable)) << "not made anew by who saw it vanish";
    EXPECT_FALSE(fs::exists(folder.path()));
  }
}

TEST(EmbeddedPlace, IsOpenedAnewWhenABackupTookItsPlace) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "alice"), errSecSuccess);
  fs::copy(folder.database(), folder.above() + "/backup");
  ASSERT_EQ(addItem(store, "bob"), errSecSuccess);
  fs::rename(folder.above() + "/backup", folder.database());
  EXPECT_EQ(findItem(store, "bob"), errSecItemNotFound);
  EXPECT_EQ(addItem(store, "carol"), errSecSuccess);
  EXPECT_EQ(findItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "carol"), errSecSuccess);
}

TEST(EmbeddedPlace, HasADatabaseThatIsNotOpenedThroughALink) {
  const KeychainFolder folder;
  ASSERT_EQ(addItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecSuccess);
  fs::rename(folder.database(), folder.above() + "/elsewhere");
  fs::create_symlink(folder.above() + "/elsewhere", folder.database());
  EXPECT_THROW(folder.runSql("DELETE FROM item"), Failure) << "a link that comes after the look at it";
}

TEST(EmbeddedItem, DoesNotOpenWhenItsRowWasAltered) {
  // alice is row 1, mallory row 2
  const std::map<const char*, const char*> rows{
      {"copied secret", "sealed = (SELECT sealed FROM item WHERE id = 2)"},
      {"copied row", "(attributes, sealed) = (SELECT attributes, sealed FROM item WHERE id = 2)"},
      {"exchanged attributes", "attributes = (SELECT attributes FROM item WHERE id = 2)"},
      {"no attributes of ours", "attributes = x'00000001'"},
      {"another label", "attributes = CAST(replace(CAST(attributes AS TEXT), 'svn: a', 'svn: A') AS BLOB)"},
      {"another class", "class = 2"},
      {"another number", "id = 3"},
      {"no secret", "sealed = x''"},
      {"other nonce", "sealed = CAST(zeroblob(12) || substr(sealed, 13) AS BLOB)"},
      {"shorter secret", "sealed = substr(sealed, 1, 30)"},
      {"other tag", "sealed = CAST(substr(sealed, 1, length(sealed) - 16) || zeroblob(16) AS BLOB)"},
  };
  for (const auto& [name, change] : rows) {
    const KeychainFolder folder;
    EmbeddedKeychain store(folder.path());
    ASSERT_EQ(addItem(store, "alice") + addItem(store, "mallory"), errSecSuccess);
    folder.runSql("UPDATE item SET " + std::string(change) + " WHERE id = 1");
    Item found;
    EXPECT_EQ(store.find(matchOf("alice"), Want::attributes, found), errSecAuthFailed) << name;
    EXPECT_EQ(store.updateSecret(matchOf("alice"), HowMany::all, Secret("x")), errSecAuthFailed) << name;
    EXPECT_NE(addItem(store, "alice"), errSecSuccess) << name;
  }
}

TEST(EmbeddedItem, CanBeRemovedWhenItDoesNotOpen) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "alice") + addItem(store, "bob"), errSecSuccess);
  folder.runSql(
      "UPDATE item SET attributes = CAST(replace(CAST(attributes AS TEXT), 'svn: a', 'svn: A') AS BLOB)");
  EXPECT_EQ(store.remove(matchOf("alice"), HowMany::first), errSecSuccess);
  EXPECT_EQ(addItem(store, "alice"), errSecSuccess);
  Item found;
  EXPECT_EQ(store.find({ItemClass::genericPassword, {{"label", "svn: alice"}}}, Want::attributes, found),
            errSecSuccess)
      << "nothing is left of the old one";
}

TEST(EmbeddedItem, IsNotGivenOutWrongWhereverABitOfTheDatabaseIsTurned) {
  const KeychainFolder folder;
  ASSERT_EQ(addItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecSuccess);
  const std::string whole = contentOf(folder.database());
  for (std::size_t byte = 0; byte < whole.size(); byte += 7) {
    if (whole[byte] == '\0') continue;
    write(folder.database(), withBitFlipped(whole, byte));
    EXPECT_NE(findItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecParam) << byte;
  }
}

TEST(EmbeddedItem, LeavesNoPlainSecretAndNothingOfWhatWasRemoved) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "alice"), errSecSuccess);
  EXPECT_EQ(contentOf(folder.database()).find("secret of alice"), std::string::npos);
  EXPECT_NE(contentOf(folder.database()).find("svn: alice"), std::string::npos);
  ASSERT_EQ(store.remove(matchOf("alice"), HowMany::all), errSecSuccess);
  EXPECT_EQ(contentOf(folder.database()).find("svn: alice"), std::string::npos);
}

TEST(EmbeddedItem, IsFoundTheSameWayOnceItsNamesAreIndexedTogether) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  const auto item = [](const std::string& tag, const std::string& bits) {
    return Item{.itemClass = ItemClass::key, .attributes = {{"tag", tag}, {"bits", bits}}, .secret = {}};
  };
  ASSERT_EQ(store.add(item("0", "0"), {"label"}), errSecSuccess);
  embedded::Database database(folder.database(), embedded::Deadline(std::chrono::seconds(9)));
  const auto place = PrivateFolder::openOrMake(folder.path());
  {
    // At once, since each call waits for the disk.
    embedded::Transaction writing(embedded::Transaction::Writing{database, place});
    const Secret key = masterKey(database, place);
    for (int i = 1; i < 300; ++i) {
      listItem(database, insertItem(database, key, i % 2 != 0 ? item("1", "1") : item("0", "0")));
    }
    writing.commit();
  }
  const ItemMatch together{ItemClass::key, {{"tag", "0"}, {"bits", "1"}}};
  Item found;
  // Each value is in half of the items: the first search of this kind is slow, and learns.
  EXPECT_EQ(store.find(together, Want::attributes, found), errSecItemNotFound);
  EXPECT_EQ(database.number("SELECT count(*) FROM entry JOIN combination ON combination.id = combination"
                            " WHERE missing = 0 AND length(names) > 16"),
            300);
  ASSERT_EQ(store.add(item("0", "1"), {"tag", "bits"}), errSecSuccess);
  EXPECT_EQ(store.find(together, Want::attributes, found), errSecSuccess);
  EXPECT_EQ(found.attributes, together.attributes);
  EXPECT_EQ(store.remove(together, HowMany::first), errSecSuccess);
  EXPECT_EQ(store.find(together, Want::attributes, found), errSecItemNotFound);
}

}  // namespace
}  // namespace quelto::platform::keychain
