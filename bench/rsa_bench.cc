/// One secret encrypted and decrypted, from text to text, beside `openssl speed`: the same library and key
/// size, in processor time, in turn. Decrypting is a private operation like signing and compared with it.
/// Encrypting is a public operation like verifying, but also takes some 200 random bytes; so it is compared
/// with the library's own encrypting.
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/process_timing.h"
#include "keychain/sec_key.h"
#include "platform/crypto/base64.h"
#include "platform/crypto/crypto_service.h"
#include "securefile/rsa_keys.h"

namespace quelto::bench {
namespace {

constexpr int rounds = 7;
constexpr unsigned bits = 2048;
constexpr const char* speedCommand = "openssl speed -mr -seconds 1 rsa2048 2>/dev/null";
constexpr std::string_view secret = "a password of a common length";

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// As `openssl speed` takes its times.
Microseconds processorTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// What a call takes, from calls for one second.
template <typename Call>
Microseconds timeOf(Call call) {
  const Microseconds begin = processorTime();
  Microseconds passed{};
  int count = 0;
  for (; passed < std::chrono::seconds(1); passed = processorTime() - begin, ++count) call();
  return passed / count;
}

/// What `openssl speed` says.
struct SpeedTimes {
  Microseconds verification;
  Microseconds signature;
};
SpeedTimes speedTimes() {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(speedCommand, "re"), ::pclose);
  double signatures = 0;
  double verifications = 0;
  int count = 0;
  char line[256];
  while (output && count < 2 && std::fgets(line, sizeof line, output.get()) != nullptr) {
    count = std::sscanf(line, "+F2:%*u:%*u:%lf:%lf", &signatures, &verifications);
  }
  require(count == 2, "openssl speed told no figures");
  return {Microseconds(1e6 / verifications), Microseconds(1e6 / signatures)};
}

/// The library alone, as `openssl speed` uses it: one context for all calls.
class Library {
 public:
  explicit Library(const platform::RsaKeyPair& pair) {
    const auto* der = reinterpret_cast<const unsigned char*>(pair.publicKey.view().data());
    EVP_PKEY* const key = d2i_PUBKEY(nullptr, &der, static_cast<long>(pair.publicKey.size()));
    context_.reset(EVP_PKEY_CTX_new(key, nullptr));
    EVP_PKEY_free(key);
    require(EVP_PKEY_encrypt_init(context_.get()) > 0 &&
                EVP_PKEY_CTX_set_rsa_padding(context_.get(), RSA_PKCS1_PADDING) > 0,
            "the library does not take the key");
  }
  void encrypt() {
    std::size_t size = block_.size();
    require(EVP_PKEY_encrypt(context_.get(), block_.data(), &size,
                             reinterpret_cast<const unsigned char*>(secret.data()), secret.size()) > 0,
            "not encrypted");
  }

 private:
  std::array<unsigned char, bits / 8> block_{};
  std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)> context_{nullptr, EVP_PKEY_CTX_free};
};

void printRow(const char* name, std::vector<Microseconds> times, Microseconds bare) {
  const Timing timing = timingOf(std::move(times));
  std::printf("  %-34s %9.1f %9.1f %9.1f %9.2f\n", name, timing.median.count(), timing.p10.count(),
              timing.p90.count(), timing.median / bare);
}

void compare() {
  using keychain::SecKey;
  require(platform::crypto() != nullptr, "the crypto module cannot be opened");
  const auto pair = platform::crypto()->generateRsaKeyPair(bits);
  require(pair.has_value(), "no pair was made");
  const auto publicKey = SecKey::open(SecKey::Half::publicKey, pair->publicKey);
  const auto privateKey = SecKey::open(SecKey::Half::privateKey, pair->privateKey);
  const auto encrypt = [&] {
    const auto block = securefile::rsaEncryptData(secret, *publicKey);
    return block ? platform::base64(block->view()) : std::nullopt;
  };
  const auto text = encrypt();
  const auto decrypt = [&] { return securefile::rsaDecryptData(*text, *privateKey); };
  require(text && decrypt() && decrypt()->view() == secret, "the secret did not come back");

  Library library(*pair);
  std::vector<Microseconds> encryption, decryption, bareEncryption, verification, signature;
  for (int round = 0; round < rounds; ++round) {
    bareEncryption.push_back(timeOf([&] { library.encrypt(); }));
    encryption.push_back(timeOf([&] { require(encrypt().has_value(), "not encrypted"); }));
    decryption.push_back(timeOf([&] { require(decrypt().has_value(), "not decrypted"); }));
    const SpeedTimes speed = speedTimes();
    verification.push_back(speed.verification);
    signature.push_back(speed.signature);
    // On both sides of its peer, since a private operation is the one that a change of the machine's load
    // shows in.
    decryption.push_back(timeOf([&] { require(decrypt().has_value(), "not decrypted"); }));
  }
  const Microseconds encryptionMedian = timingOf(bareEncryption).median;
  const Microseconds signatureMedian = timingOf(signature).median;
  std::printf("\nOne secret and RSA-%u, %d runs of a second each, microseconds of processor time\n", bits,
              rounds);
  std::printf("  %-34s %9s %9s %9s %9s\n", "", "median", "p10", "p90", "ratio");
  printRow("openssl speed, verifying", std::move(verification), encryptionMedian);
  printRow("library alone, encrypting", std::move(bareEncryption), encryptionMedian);
  printRow("encrypted, to Base64", std::move(encryption), encryptionMedian);
  printRow("openssl speed, signing", std::move(signature), signatureMedian);
  printRow("decrypted, from Base64", std::move(decryption), signatureMedian);
}

}  // namespace
}  // namespace quelto::bench

int main() {
  try {
    quelto::bench::compare();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "rsa_bench: %s\n", error.what());
    return 1;
  }
}
