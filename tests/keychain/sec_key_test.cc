#include "keychain/sec_key.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>

#include "keychain/sec_item.h"
#include "platform/crypto/base64.h"
#include "platform/crypto/digest.h"
#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using test::Session;
using test::User;
using DictionaryRef = std::shared_ptr<const SecDictionary>;

const SecDictionary::Entry ofKeys{kSecClass, kSecClassKey};

SecData tag(std::string_view text) { return std::make_shared<const platform::Secret>(text); }

DictionaryRef half(SecConstant keyClass, std::string_view tagText, bool isPermanent = true) {
  return std::make_shared<const SecDictionary>(SecDictionary{{kSecAttrIsPermanent, isPermanent},
                                                             {kSecAttrApplicationTag, tag(tagText)},
                                                             {kSecAttrKeyClass, keyClass}});
}

SecDictionary pairOf(std::int64_t bits) {
  return {ofKeys,
          {kSecAttrKeyType, kSecAttrKeyTypeRSA},
          {kSecAttrKeySizeInBits, bits},
          {kSecAttrLabel, std::string("The pair")},
          {kSecAttrCanWrap, kCFBooleanTrue},
          {kSecPrivateKeyAttrs, half(kSecAttrKeyClassPrivate, "t.private")},
          {kSecPublicKeyAttrs, half(kSecAttrKeyClassPublic, "t.public")}};
}

SecDictionary query(SecConstant keyClass, std::int64_t bits = 2048) {
  const bool isPrivate = keyClass == kSecAttrKeyClassPrivate;
  return {ofKeys,
          {kSecAttrKeyType, kSecAttrKeyTypeRSA},
          {kSecAttrKeySizeInBits, bits},
          {kSecAttrLabel, std::string("The pair")},
          {kSecAttrKeyClass, keyClass},
          {kSecAttrApplicationTag, tag(isPrivate ? "t.private" : "t.public")},
          {kSecReturnRef, kCFBooleanTrue}};
}

OSStatus deleteKey(SecConstant keyClass) {
  SecDictionary one = query(keyClass);
  one.set(kSecMatchLimit, kSecMatchLimitOne);
  return SecItemDelete(one);
}

SecKeyRef find(SecConstant keyClass) {
  std::optional<SecValue> result;
  if (SecItemCopyMatching(query(keyClass), &result) != errSecSuccess) return nullptr;
  return std::get<SecKeyRef>(*result);
}

bool writesCoreFiles() { return ::prctl(PR_GET_DUMPABLE, 0UL, 0UL, 0UL, 0UL) == 1; }

using SecKeys = test::InSession;
INSTANTIATE_TEST_SUITE_P(In, SecKeys, test::everySession, testing::PrintToStringParamName());

TEST_P(SecKeys, PairIsMadeFoundUsedAndDeleted) {
  OSStatus error = errSecIO;
  SecKeyRef privateKey = SecKeyCreateRandomKey(pairOf(2048), error);
  ASSERT_EQ(error, errSecSuccess);
  const SecKeyRef publicKey = find(kSecAttrKeyClassPublic);
  ASSERT_TRUE(privateKey && publicKey);
  EXPECT_EQ(SecKeyGetBlockSize(*publicKey), 256U);
  EXPECT_EQ(SecKeyGetBlockSize(*privateKey), 256U);
  EXPECT_FALSE(writesCoreFiles());
  privateKey = find(kSecAttrKeyClassPrivate);

  EXPECT_FALSE(SecKeyCreateEncryptedData(*privateKey, kSecKeyAlgorithmRSAEncryptionPKCS1, "x"));
  EXPECT_FALSE(
      SecKeyCreateEncryptedData(*publicKey, kSecKeyAlgorithmRSAEncryptionPKCS1, std::string(246, 'x')));

  privateKey.reset();
  EXPECT_TRUE(writesCoreFiles());
  EXPECT_EQ(SecItemCopyMatching(query(kSecAttrKeyClassPublic, 3072), nullptr), errSecItemNotFound);
  EXPECT_EQ(SecKeyCreateRandomKey(pairOf(2048), error), nullptr);
  EXPECT_EQ(error, errSecDuplicateItem);
  EXPECT_NE(SecKeyCreateRandomKey(pairOf(1024), error), nullptr) << "keys of one tag differ in size";

  EXPECT_EQ(deleteKey(kSecAttrKeyClassPrivate), errSecSuccess);
  // The public half is still in the way of a new one, whose private half must not stay without it.
  EXPECT_EQ(SecKeyCreateRandomKey(pairOf(2048), error), nullptr);
  EXPECT_EQ(find(kSecAttrKeyClassPrivate), nullptr);
  EXPECT_EQ(deleteKey(kSecAttrKeyClassPublic), errSecSuccess);
  EXPECT_EQ(deleteKey(kSecAttrKeyClassPublic), errSecItemNotFound);
  EXPECT_TRUE(writesCoreFiles());
}

TEST(PrivateKeys, AreInNoCoreFileWhileTheyComeAndGo) {
  User user(Session::desktop);
  OSStatus error = errSecIO;
  ASSERT_NE(SecKeyCreateRandomKey(pairOf(2048), error), nullptr);
  const std::function<void()> calls[] = {
      [] { (void)find(kSecAttrKeyClassPrivate); },
      [] {
        OSStatus ignored = errSecSuccess;
        (void)SecKeyCreateRandomKey(pairOf(1024), ignored);
      },
  };
  for (const auto& call : calls) {
    user.around().keyring().signal(SIGSTOP);
    const auto inCall = std::async(std::launch::async, call);
    while (writesCoreFiles() && inCall.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    }
    EXPECT_FALSE(writesCoreFiles());
    user.around().keyring().signal(SIGCONT);
    inCall.wait();
    EXPECT_TRUE(writesCoreFiles());
  }
}

/// Tells this program that it runs in a bundle without the crypto module.
constexpr const char* isWithoutCrypto = "QUELTO_TEST_IS_WITHOUT_CRYPTO";

/// A bundle in the folder with this program and all its modules but that one.
std::string programWithoutCrypto(const std::string& folder) {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string modules = program.parent_path().parent_path().string() + "/PlugIns/*";
  const std::string command = "mkdir -p " + folder + "/Contents/Tests " + folder +
                              "/Contents/PlugIns && cd " + folder + "/Contents && ln -s " + modules +
                              " PlugIns && rm " + "PlugIns/libquelto_crypto.so && cp " + program.string() +
                              " Tests";
  EXPECT_EQ(std::system(command.c_str()), 0);
  return folder + "/Contents/Tests/" + program.filename().string();
}

TEST(SecKeyDeletion, IsRefusedWhereNoNewPairCanBeMade) {
  OSStatus error = errSecIO;
  if (std::getenv(isWithoutCrypto) != nullptr) {
    EXPECT_EQ(deleteKey(kSecAttrKeyClassPrivate), errSecNotAvailable);
    EXPECT_EQ(SecKeyCreateRandomKey(pairOf(2048), error), nullptr);
    EXPECT_EQ(error, errSecNotAvailable);
    EXPECT_FALSE(platform::sha256("") || platform::base64("x") || platform::bytesOfBase64("eA=="));
    return;
  }
  User user(Session::server);
  ASSERT_NE(SecKeyCreateRandomKey(pairOf(2048), error), nullptr);
  user.around().set(isWithoutCrypto, "1");
  const auto printed = test::shell(programWithoutCrypto(user.around().path("bundle")) +
                                   " --gtest_filter=SecKeyDeletion.IsRefusedWhereNoNewPairCanBeMade");
  EXPECT_EQ(printed.status, 0) << printed.text;
  EXPECT_NE(find(kSecAttrKeyClassPrivate), nullptr);
}

TEST(SecKeyCreation, RefusesWhatItCannotMake) {
  User user(Session::server);
  const auto with = [](SecDictionaryKey key, SecValue value) {
    SecDictionary attributes = pairOf(2048);
    attributes.set(key, std::move(value));
    return attributes;
  };
  SecDictionary withoutHalf = pairOf(2048);
  withoutHalf.remove(kSecPublicKeyAttrs);
  const struct {
    const char* name;
    SecDictionary attributes;
  } rows[] = {
      {"no bits", with(kSecAttrKeySizeInBits, std::int64_t{0})},
      {"too few bits", with(kSecAttrKeySizeInBits, std::int64_t{16})},
      {"more bits than OpenSSL uses", with(kSecAttrKeySizeInBits, std::int64_t{16385})},
      {"bits beyond all", with(kSecAttrKeySizeInBits, std::int64_t{1} << 40)},
      {"another class", with(kSecClass, kSecClassGenericPassword)},
      {"another type", with(kSecAttrKeyType, kSecAttrKeyClassPublic)},
      {"an unknown key", with("colour", std::string("red"))},
      {"no public half", withoutHalf},
      {"halves exchanged", with(kSecPublicKeyAttrs, half(kSecAttrKeyClassPrivate, "t"))},
      {"a passing half", with(kSecPrivateKeyAttrs, half(kSecAttrKeyClassPrivate, "t", false))},
  };
  for (const auto& row : rows) {
    OSStatus error = errSecSuccess;
    EXPECT_EQ(SecKeyCreateRandomKey(row.attributes, error), nullptr) << row.name;
    EXPECT_EQ(error, errSecParam) << row.name;
  }
  EXPECT_TRUE(writesCoreFiles());
}

}  // namespace
}  // namespace quelto::keychain
