#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "keychain/item_place.h"
#include "keychain/sec_item.h"
#include "keychain/sec_key.h"
#include "platform/crypto/base64.h"
#include "securefile/key_file.h"
#include "securefile/rsa_keys.h"
#include "tests/support/new_process.h"
#include "tests/support/sessions.h"
#include "util/paths.h"

namespace quelto::securefile {
namespace {

using keychain::OSStatus;
using keychain::SecKeyRef;
using platform::Base64Lines;
using platform::Secret;
using test::inNewProcess;
using test::Session;
using test::User;
using testing::ElementsAre;

const std::string identify = "org.example";

NewRSAKeyPair newPair(std::int64_t keySize = 2048, std::vector<std::string> trustedAppPaths = {}) {
  return {.keySize = keySize,
          .identify = identify,
          .label = "The pair",
          .accessName = "Those that may",
          .trustedAppPaths = std::move(trustedAppPaths)};
}

RSAKeySearch privateHalf(std::int64_t keySize = 2048) {
  return {.keySize = keySize, .isPrivate = true, .identify = identify, .label = std::nullopt};
}
RSAKeySearch publicHalf() {
  return {.keySize = 2048, .isPrivate = false, .identify = identify, .label = std::nullopt};
}

OSStatus statusOf(const RSAKeySearch& search) {
  OSStatus error = keychain::errSecParam;
  const SecKeyRef key = getRSAKeyFromKeychain(search, error);
  EXPECT_EQ(key != nullptr, error == keychain::errSecSuccess);
  return error;
}

SecKeyRef found(const RSAKeySearch& search) {
  OSStatus error = keychain::errSecParam;
  return getRSAKeyFromKeychain(search, error);
}

keychain::ItemStore& store() { return *keychain::settledStore().store; }

keychain::ItemMatch halvesOf(const std::string& keyClass) {
  return {.itemClass = keychain::ItemClass::key, .attributes = {{"keyclass", keyClass}}};
}

/// Adds a half with the tag of the stored one, as another program may.
void addHalfOfAnotherSize(const std::string& keyClass) {
  keychain::Item item;
  ASSERT_EQ(store().find(halvesOf(keyClass), keychain::ItemStore::Want::attributesAndSecret, item),
            keychain::errSecSuccess);
  item.attributes["bits"] = "1024";
  ASSERT_EQ(store().add({&item, 1}), keychain::errSecSuccess);
}

/// The attributes of the stored halves as "name=value;", in the order of names. The halves are gone then.
std::vector<std::string> takenHalves(const std::string& keyClass) {
  std::vector<std::string> halves;
  keychain::Item item;
  while (store().find(halvesOf(keyClass), keychain::ItemStore::Want::attributes, item) ==
         keychain::errSecSuccess) {
    halves.emplace_back();
    for (const auto& [name, value] : item.attributes) halves.back().append(name).append("=" + value + ";");
    EXPECT_EQ(store().remove(halvesOf(keyClass)), keychain::errSecSuccess);
  }
  return halves;
}

std::string base64(std::string_view bytes) { return platform::base64(bytes).value_or("(no module)"); }

std::string plaintextOf(std::string_view source, const SecKeyRef& privateKey) {
  const auto plaintext = rsaDecryptData(source, *privateKey);
  return plaintext ? std::string(plaintext->view()) : "(absent)";
}

using RSAKeys = test::InSession;
INSTANTIATE_TEST_SUITE_P(In, RSAKeys, test::everySession, testing::PrintToStringParamName());

TEST_P(RSAKeys, PairIsFoundByWhatItWasMadeWith) {
  EXPECT_EQ(statusOf(publicHalf()), keychain::errSecItemNotFound);
  const auto pair = generateRSAKeyPair(newPair());
  ASSERT_TRUE(pair);
  RSAKeySearch named = publicHalf();
  named.label = "The pair";
  const SecKeyRef publicKey = found(named);
  ASSERT_TRUE(publicKey);
  const auto encrypted = rsaEncryptData("s3cret", *publicKey);
  ASSERT_TRUE(encrypted);
  EXPECT_EQ(plaintextOf(base64(encrypted->view()), pair->privateKey), "s3cret");
  EXPECT_EQ(plaintextOf(base64(encrypted->view()), found(privateHalf())), "s3cret");

  named.label = "Another";
  EXPECT_EQ(statusOf(named), keychain::errSecItemNotFound);
  EXPECT_EQ(statusOf(privateHalf(3072)), keychain::errSecItemNotFound);
  RSAKeySearch another = privateHalf();
  another.identify = "org";
  EXPECT_EQ(statusOf(another), keychain::errSecItemNotFound);
}

TEST_P(RSAKeys, NewPairTakesThePlaceOfAllOthers) {
  const auto first = generateRSAKeyPair(newPair());
  ASSERT_TRUE(first);
  addHalfOfAnotherSize("private");
  addHalfOfAnotherSize("public");
  NewRSAKeyPair another = newPair(1024);
  another.identify = "org.example.other";
  ASSERT_TRUE(generateRSAKeyPair(another));
  ASSERT_TRUE(generateRSAKeyPair(newPair()));
  // Random bytes, as newer versions of the library answer with, would be taken for the secret.
  const auto encrypted = rsaEncryptData("s3cret", *first->publicKey);
  ASSERT_TRUE(encrypted);
  EXPECT_EQ(plaintextOf(base64(encrypted->view()), found(privateHalf())), "(absent)");
  EXPECT_EQ(takenHalves("private").size(), 2U);
  EXPECT_EQ(takenHalves("public").size(), 2U);
}

TEST(RSAKeyAttributes, AreThoseOfThePairAndOfTheHalf) {
  const User user(Session::server);
  ASSERT_TRUE(
      generateRSAKeyPair(newPair(1025, {"/nowhere", "/bin/sh", std::string("/bin\0/sh", 8), "/bin/cat"})));
  const std::string access = "access_name=Those that may;access_path_1=/bin/sh;access_path_2=/bin/cat;";
  EXPECT_THAT(
      takenHalves("private"),
      ElementsAre(access +
                  "applabel=org.example;bits=1025;decrypt=true;derive=false;effectivebits=128;"
                  "encrypt=false;keyclass=private;keytype=rsa;label=The pair;permanent=true;sign=true;"
                  "tag=org.example.privateKey;unwrap=false;verify=false;wrap=true;"));
  EXPECT_THAT(takenHalves("public"),
              ElementsAre(access +
                          "applabel=org.example;bits=1025;decrypt=false;derive=false;effectivebits=128;"
                          "encrypt=true;keyclass=public;keytype=rsa;label=The pair;permanent=true;sign=false;"
                          "tag=org.example.publicKey;unwrap=false;verify=true;wrap=true;"));

  ASSERT_TRUE(generateRSAKeyPair(newPair(1024, {"/nowhere"})));
  EXPECT_THAT(takenHalves("private"), ElementsAre(testing::Not(testing::HasSubstr("access_name"))));
}

TEST(RSAKeyPairOutOfReach, IsNeitherMissingNorReplaced) {
  User user(Session::desktop);
  ASSERT_TRUE(generateRSAKeyPair(newPair()));
  user.enter(Session::server);
  EXPECT_EQ(statusOf(publicHalf()), keychain::errSecNotAvailable);
  EXPECT_FALSE(generateRSAKeyPair(newPair()));
  user.enter(Session::desktop);
  EXPECT_EQ(statusOf(publicHalf()), keychain::errSecSuccess);
  EXPECT_EQ(statusOf(privateHalf()), keychain::errSecSuccess);
}

/// One pair for all its tests.
class RSAData : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(pair_); }
  [[nodiscard]] std::optional<Secret> encrypted(std::string_view source) const {
    return rsaEncryptData(source, *pair_->publicKey);
  }
  [[nodiscard]] std::string decrypted(std::string_view source) const {
    return plaintextOf(source, pair_->privateKey);
  }

  User user_{Session::server};
  std::optional<RSAKeyPair> pair_ = generateRSAKeyPair(newPair());
};

TEST_F(RSAData, OfAnyLengthIsCutIntoBlocks) {
  std::string umlauts;
  while (umlauts.size() < 600) umlauts += "\u00FC";
  const struct {
    std::string source;
    std::size_t size;
  } rows[] = {
      {"0123456789", 256},           {std::string(245, 'x'), 256},  {std::string(246, 'x'), 512},
      {std::string(490, '\0'), 512}, {std::string(491, '\n'), 768}, {umlauts, 768},
  };
  for (const auto& [source, size] : rows) {
    const auto blocks = encrypted(source);
    ASSERT_TRUE(blocks);
    EXPECT_EQ(blocks->size(), size);
    EXPECT_EQ(decrypted(base64(blocks->view())), source);
    EXPECT_EQ(decrypted(platform::base64(blocks->view(), Base64Lines::of64Characters).value_or("")), source);
  }
}

TEST_F(RSAData, ThatIsNoTextIsNotEncrypted) {
  for (const std::string& source : {std::string(), std::string("\xFF"), std::string(300, 'x') + "\xC3"}) {
    EXPECT_FALSE(encrypted(source)) << source.size();
  }
}

TEST_F(RSAData, IsDecryptedWholeOrNotAtAll) {
  const auto ciphertext = encrypted(std::string(246, 'x'));
  ASSERT_TRUE(ciphertext);
  const std::string blocks(ciphertext->view());
  const auto altered = [&](std::size_t at) {
    std::string result = blocks;
    result[at] = static_cast<char>(result[at] ^ 1);
    return base64(result);
  };
  const struct {
    const char* name;
    std::string source;
  } rows[] = {
      {"nothing", ""},
      {"not Base64", "=" + base64(blocks)},
      {"cut in the text", base64(blocks).substr(0, 682)},
      {"cut in the first block", base64(blocks.substr(0, 255))},
      {"cut in the second block", base64(blocks.substr(0, 511))},
      {"one byte too many", base64(blocks + "x")},
      {"the first block altered", altered(255)},
      {"the second block altered", altered(511)},
      {"a block of zeros", base64(std::string(256, '\0'))},
      {"a number beyond the modulus", base64(std::string(256, '\xFF'))},
  };
  for (const auto& row : rows) EXPECT_EQ(decrypted(row.source), "(absent)") << row.name;
  EXPECT_EQ(plaintextOf(base64(blocks), pair_->publicKey), "(absent)") << "the public half";
  EXPECT_EQ(decrypted(base64(blocks.substr(0, 256))), std::string(245, 'x')) << "the first block alone";
  EXPECT_EQ(decrypted(" \n"), "") << "no block";
}

TEST_F(RSAData, NeedsAKeyThatHasRoomBesideThePadding) {
  // A SubjectPublicKeyInfo whose modulus has 11 bytes.
  const auto der = platform::bytesOfBase64("MCcwDQYJKoZIhvcNAQEBBQADFgAwEwIMAIAAABI0VniavN7xAgMBAAE=");
  ASSERT_TRUE(der);
  const SecKeyRef key = keychain::SecKey::open(keychain::SecKey::Half::publicKey, Secret(*der));
  ASSERT_TRUE(key);
  ASSERT_EQ(keychain::SecKeyGetBlockSize(*key), 11U);
  EXPECT_FALSE(rsaEncryptData("x", *key));
}

void remove(const char* keyClass) { EXPECT_EQ(store().remove(halvesOf(keyClass)), keychain::errSecSuccess); }

void damage(const char* keyClass) {
  EXPECT_EQ(store().updateSecret(halvesOf(keyClass), Secret("no key")), keychain::errSecSuccess);
}

/// A password file, and beside it a text that the pair of before has encrypted.
class PairSetup : public test::InSession {
 protected:
  [[nodiscard]] std::string file() const { return folder_.path("file"); }

  [[nodiscard]] bool init() const {
    return KeyFile::initSecureKey({.identify = identify, .filePath = file()});
  }

  void makePair() const {
    const auto pair = generateRSAKeyPair(newPair());
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
