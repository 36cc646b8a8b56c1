#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <vector>

#include "keychain/sec_item.h"
#include "keychain/sec_key.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"
#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using platform::Pipe;
using test::Session;

constexpr int writers = 16;
constexpr int readers = 8;
constexpr int itemsOfEach = 4;

const SecDictionary::Entry generic{kSecClass, kSecClassGenericPassword};
const SecDictionary::Entry one{kSecMatchLimit, kSecMatchLimitOne};

SecData asData(std::string_view bytes) { return std::make_shared<const platform::Secret>(bytes); }

SecDictionary itemOf(const std::string& account) { return {generic, {kSecAttrAccount, account}}; }

OSStatus add(const std::string& account) {
  SecDictionary item = itemOf(account);
  item.set(kSecValueData, asData("secret of " + account));
  return SecItemAdd(item);
}

/// The secret, or the status of the look-up.
std::string secretOf(const std::string& account) {
  SecDictionary query = itemOf(account);
  query.set(kSecReturnData, kCFBooleanTrue);
  std::optional<SecValue> result;
  const OSStatus status = SecItemCopyMatching(query, &result);
  if (status != errSecSuccess) return "status " + std::to_string(status);
  return std::string(std::get<SecData>(*result)->view());
}

SecDictionary halfOf(SecConstant keyClass) {
  return {{kSecAttrKeyClass, keyClass},
          {kSecAttrApplicationTag, asData(keyClass == kSecAttrKeyClassPrivate ? "t.private" : "t.public")}};
}

OSStatus addPair() {
  const auto half = [](SecConstant keyClass) {
    SecDictionary attributes = halfOf(keyClass);
    attributes.set(kSecAttrIsPermanent, true);
    return std::make_shared<const SecDictionary>(attributes);
  };
  OSStatus status = errSecIO;
  (void)SecKeyCreateRandomKey({{kSecClass, kSecClassKey},
                               {kSecAttrKeyType, kSecAttrKeyTypeRSA},
                               {kSecAttrKeySizeInBits, std::int64_t{1024}},
                               {kSecPrivateKeyAttrs, half(kSecAttrKeyClassPrivate)},
                               {kSecPublicKeyAttrs, half(kSecAttrKeyClassPublic)}},
                              status);
  return status;
}

SecKeyRef findKey(SecConstant keyClass, OSStatus& status) {
  SecDictionary query = halfOf(keyClass);
  query.set(kSecClass, kSecClassKey);
  query.set(kSecReturnRef, kCFBooleanTrue);
  std::optional<SecValue> result;
  status = SecItemCopyMatching(query, &result);
  return status == errSecSuccess ? std::get<SecKeyRef>(*result) : nullptr;
}

/// A process that ends with what the function returns.
pid_t inChild(const std::function<int()>& run) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(run());
  return child;
}

int exitStatusOf(pid_t child) {
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void waitForEnd(Pipe& pipe) {
  pipe.writeEnd.reset();
  std::array<char, 1> byte{};
  (void)platform::readSome(pipe.readEnd.get(), byte);
}

enum Ending : int { well, madeThePair, failed, itemLost, pairTorn };

/// Repeats a call that ran out of time, as one may on a busy machine. It may have been carried out all the
/// same: then `again` is the status of the next one.
template <typename Call>
OSStatus finally(const Call& call, OSStatus again) {
  OSStatus status = call();
  for (int tries = 0; status == errSecNotAvailable && tries < 20; ++tries) {
    status = call();
    if (status == again) return errSecSuccess;
  }
  return status;
}

/// Adds items, changes the first, deletes the second, and tries to make the pair.
Ending write(const std::string& name) {
  bool isDone = true;
  for (int item = 0; item < itemsOfEach; ++item) {
    const auto addIt = [&] { return add(name + std::to_string(item)); };
    isDone = isDone && finally(addIt, errSecDuplicateItem) == errSecSuccess;
  }
  const auto update = [&] {
    return SecItemUpdate({generic, {kSecAttrAccount, name + "0"}, one}, {{kSecValueData, asData("changed")}});
  };
  const auto remove = [&] { return SecItemDelete({generic, {kSecAttrAccount, name + "1"}, one}); };
  isDone = isDone && finally(update, errSecSuccess) == errSecSuccess &&
           finally(remove, errSecItemNotFound) == errSecSuccess;
  const OSStatus status = finally(addPair, errSecSuccess);
  if (!isDone || (status != errSecSuccess && status != errSecDuplicateItem)) return failed;
  return status == errSecSuccess ? madeThePair : well;
}

/// Looks, as long as somebody writes, for what is never touched, and for a pair of which only one half is
/// there.
Ending read(int running) {
  const std::string lost = "status " + std::to_string(errSecItemNotFound);
  for (char byte = 0; ::read(running, &byte, 1) != 0;) {
    if (secretOf("untouched") == lost) return itemLost;
    OSStatus status = errSecSuccess;
    if (findKey(kSecAttrKeyClassPublic, status) == nullptr) continue;
    (void)findKey(kSecAttrKeyClassPrivate, status);
    if (status == errSecItemNotFound) return pairTorn;
  }
  return well;
}

void expectNothingLost() {
  EXPECT_EQ(secretOf("untouched"), "secret of untouched");
  for (int writer = 0; writer < writers; ++writer) {
    const std::string name = std::to_string(writer) + "/";
    EXPECT_EQ(secretOf(name + "0"), "changed") << name;
    EXPECT_EQ(secretOf(name + "1"), "status " + std::to_string(errSecItemNotFound)) << name;
    for (int item = 2; item < itemsOfEach; ++item) {
      EXPECT_EQ(secretOf(name + std::to_string(item)), "secret of " + name + std::to_string(item));
    }
  }
  OSStatus status = errSecSuccess;
  const SecKeyRef publicKey = findKey(kSecAttrKeyClassPublic, status);
  const SecKeyRef privateKey = findKey(kSecAttrKeyClassPrivate, status);
  ASSERT_TRUE(publicKey && privateKey);
  const auto block = SecKeyCreateEncryptedData(*publicKey, kSecKeyAlgorithmRSAEncryptionPKCS1, "text");
  const auto text = SecKeyCreateDecryptedData(*privateKey, kSecKeyAlgorithmRSAEncryptionPKCS1, block->view());
  ASSERT_TRUE(text);
  EXPECT_EQ(text->view(), "text") << "the halves are of one pair";
}

class ManyProcesses : public testing::TestWithParam<Session> {
 private:
  test::User user_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(In, ManyProcesses, testing::ValuesIn(test::allSessions),
                         testing::PrintToStringParamName());

TEST_P(ManyProcesses, LoseNothingOfEachOther) {
  // No thread of a library may be alive in this process when it forks.
  ASSERT_EQ(exitStatusOf(inChild([] { return add("untouched"); })), 0);
  Pipe start = platform::makePipe();
  Pipe running = platform::makePipe();
  ASSERT_TRUE(platform::makeNonBlocking(running.readEnd.get()));
  std::vector<pid_t> writing;
  std::vector<pid_t> reading;
  for (int writer = 0; writer < writers; ++writer) {
    writing.push_back(inChild([&] {
      waitForEnd(start);
      return write(std::to_string(writer) + "/");
    }));
  }
  for (int reader = 0; reader < readers; ++reader) {
    reading.push_back(inChild([&] {
      running.writeEnd.reset();
      waitForEnd(start);
      return read(running.readEnd.get());
    }));
  }
  running.writeEnd.reset();
  start.writeEnd.reset();
  std::array<int, pairTorn + 1> endings{};
  for (const pid_t child : writing) ++endings.at(static_cast<std::size_t>(exitStatusOf(child)));
  EXPECT_EQ(endings.at(well) + endings.at(madeThePair), writers) << "every write succeeds in the end";
  EXPECT_LE(endings.at(madeThePair), 1) << "none when the one ran out of time";
  for (const pid_t child : reading) EXPECT_EQ(exitStatusOf(child), well);
  expectNothingLost();
}

}  // namespace
}  // namespace quelto::keychain
