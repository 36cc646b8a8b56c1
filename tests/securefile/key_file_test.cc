#include "securefile/key_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "keychain/item_place.h"
#include "platform/crypto/base64.h"
#include "securefile/rsa_keys.h"
#include "tests/support/new_process.h"
#include "tests/support/sessions.h"
#include "util/paths.h"

namespace quelto::securefile {
namespace {

using platform::Secret;
using test::inNewProcess;

const std::string identify = "org.example";

keychain::ItemStore& store() { return *keychain::settledStore().store; }

keychain::ItemMatch half(const char* keyClass) {
  return {.itemClass = keychain::ItemClass::key, .attributes = {{"keyclass", keyClass}}};
}

void remove(const char* keyClass) { EXPECT_EQ(store().remove(half(keyClass)), keychain::errSecSuccess); }

void damage(const char* keyClass) {
  EXPECT_EQ(store().updateSecret(half(keyClass), Secret("no key")), keychain::errSecSuccess);
}

/// A password file, and beside it a text that the pair of before has encrypted.
class PairSetup : public test::InSession {
 protected:
  [[nodiscard]] std::string file() const { return folder_.path("file"); }

  [[nodiscard]] bool init() const {
    return KeyFile::initSecureKey({.identify = identify, .filePath = file()});
  }

  void makePair() const {
    const auto pair = generateRSAKeyPair({.keySize = 2048, .identify = identify, .label = "before"});
    ASSERT_TRUE(pair);
    const auto encrypted = rsaEncryptData("known", *pair->publicKey);
    folder_.write("encrypted", platform::base64(encrypted->view()).value());
  }

  /// Which pair `init` has prepared.
  [[nodiscard]] std::string pair() const {
    const auto key = KeyFile::privateKey();
    EXPECT_EQ(key == nullptr, KeyFile::publicKey() == nullptr);
    if (key == nullptr) return "none";
    const auto plaintext = rsaDecryptData(test::contentOf(folder_.path("encrypted")), *key);
    return plaintext && plaintext->view() == "known" ? "old" : "new";
  }

  test::TemporaryFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(In, PairSetup, test::everySession, testing::PrintToStringParamName());

TEST_P(PairSetup, TakesMakesOrReplacesThePair) {
  const struct {
    const char* name;
    /// What happens to the pair.
    std::function<void()> change;
    bool isMissing;
    const char* pair;
    /// Of the pair that is in the keychain at the end.
    const char* kept;
  } rows[] = {
      {"whole", [] {}, false, "old", "old"},
      {"without its public half", [] { remove("public"); }, true, "new", "new"},
      {"without its private half", [] { remove("private"); }, true, "new", "new"},
      {"without both", [] { remove("public"), remove("private"); }, true, "new", "new"},
      // Nobody can be asked here, which counts as yes.
      {"unreadable", [] { damage("private"); }, false, "new", "new"},
      {"half unreadable, half missing", [] { damage("private"), remove("public"); }, true, "new", "new"},
      {"out of reach", [this] { ::chmod(user_.data().c_str(), 0755); }, false, "none", "old"},
  };
  folder_.write("file", "old secrets\n");
  for (const auto& row : rows) {
    inNewProcess([&] {
      makePair();
      row.change();
    });
    inNewProcess([&] {
      EXPECT_EQ(init(), row.isMissing) << row.name;
      EXPECT_EQ(pair(), row.pair) << row.name;
      ::chmod(user_.data().c_str(), 0700);
    });
    inNewProcess([&] {
      EXPECT_FALSE(init()) << row.name;
      EXPECT_EQ(pair(), row.kept) << row.name;
    });
    EXPECT_EQ(test::contentOf(file()), "old secrets\n") << row.name << ": nobody was asked";
  }
}

TEST_P(PairSetup, LooksThePairUpOnce) {
  inNewProcess([&] {
    EXPECT_TRUE(init()) << "nothing was there";
    EXPECT_EQ(pair(), "new");
    const auto key = KeyFile::privateKey();
    remove("private");
    EXPECT_FALSE(KeyFile::initSecureKey({.identify = "another", .filePath = "another"}));
    EXPECT_EQ(KeyFile::privateKey(), key);
    EXPECT_EQ(KeyFile::keyIdentify() + KeyFile::keyfilePath(), identify + file())
        << "the arguments are not used";
  });
}

TEST_P(PairSetup, MakesAnotherPairForAnotherSize) {
  inNewProcess([&] {
    makePair();
    const KeyFile::Setup setup{.identify = identify, .headId = "App", .filePath = file(), .keySize = 1024};
    EXPECT_TRUE(KeyFile::initSecureKey(setup));
    EXPECT_EQ(pair(), "new");
    EXPECT_EQ(KeyFile::keySize(), 1024);
    EXPECT_EQ(KeyFile::keyfileHead(), "App - Secure file V1.0 (%@)");
  });
  inNewProcess([&] {
    const KeyFile::Setup impossible{.identify = identify, .filePath = file(), .keySize = 100};
    EXPECT_TRUE(KeyFile::initSecureKey(impossible));
    EXPECT_EQ(pair(), "none");
    EXPECT_TRUE(KeyFile::initSecureKey({.keySize = 2048})) << "tried again";
    EXPECT_EQ(pair(), "new");
  });
}

TEST(KeyFile, IsInTheHomeFolder) {
  EXPECT_EQ(KeyFile::keyfilePath(), util::userHomePath() + "/.keys");
  EXPECT_EQ(KeyFile::keyIdentify(), util::groupId());
  EXPECT_EQ(KeyFile::keyfileHead(), "Secure file V1.0 (%@)");
  EXPECT_EQ(KeyFile::keySize(), 2048);
  EXPECT_EQ(KeyFile::publicKey(), nullptr);
}

TEST(KeyFile, NamesSectionsByTheFieldsThatIdentifyThem) {
  const auto nameOf = [](std::initializer_list<ini::IniSection::Entry> entries) {
    ini::IniSection item;
    for (const auto& [key, value] : entries) item[key] = value;
    return KeyFile::genSectionName(item);
  };
  EXPECT_EQ(nameOf({{"account", "alice"}, {"name", "server1"}}),
            "KxgZ-Tm4wGoXbAdMaB_bBYPKydocCApL1hozhgsBSYM,");
  EXPECT_EQ(nameOf({{"name", "server1"}, {"label", "l"}, {"class", "internet"}, {"account", "alice"}}),
            "KxgZ-Tm4wGoXbAdMaB_bBYPKydocCApL1hozhgsBSYM,");
  // printf '\n\n\n\n\n\n\n\n\n' | openssl dgst -sha256 -binary | base64
  EXPECT_EQ(nameOf({}), "HhNa-1S_lI7WFrflGOqfWcjtrZWi0d-66K3GCxZ8X2w,");
  // printf 'account\nservice\nname\ndomain\nscheme\nserver\nport\npath\nauth\ngeneric' | ...
  ini::IniSection all;
  for (const char* const key :
       {"generic", "auth", "path", "port", "server", "scheme", "domain", "name", "service", "account"}) {
    all[key] = key;
  }
  EXPECT_EQ(KeyFile::genSectionName(all), "ETMR1QKEkx-zIVNc-P7zFWoWJUMLdA6-YEsGOuQ3CH4,");
}

}  // namespace
}  // namespace quelto::securefile
