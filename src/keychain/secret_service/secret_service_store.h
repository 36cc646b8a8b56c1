#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "keychain/item_store.h"
#include "keychain/secret_service/secret_service_module.h"
#include "keychain/secret_service/store_operation.h"
#include "keychain/secret_service/timed_call.h"

namespace quelto::keychain {

/// The keyring as an `ItemStore`. Calls do not wait for each other; each works on copies of its arguments,
/// since its thread may outlive it.
class SecretServiceStore final : public ItemStore {
 public:
  /// As `queltoOpenKeyring`.
  [[nodiscard]] KeyringState open();

  [[nodiscard]] OSStatus find(const ItemMatch& match, Want want, Item& found) override;
  [[nodiscard]] OSStatus add(std::span<const Item> items) override;
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match, const platform::Secret& secret) override;
  [[nodiscard]] OSStatus remove(const ItemMatch& match) override;

 private:
  /// Whether a call takes secrets to the keyring or from it.
  enum class Moves { nothing, secrets };
  [[nodiscard]] TimedCall::Result run(Moves moves, TimedCall::Secrets secrets,
                                      std::function<OSStatus(StoreOperation&)> work);

  /// One with a daemon that runs; null, and why, otherwise.
  struct FoundKeyring {
    Outcome outcome = Outcome::noAnswer;
    std::unique_ptr<Keyring> keyring;
  };
  [[nodiscard]] FoundKeyring findKeyring(Moves moves, TimedCall& call);
  /// Null when there is none.
  [[nodiscard]] std::unique_ptr<Keyring> takeIdleKeyring();
  void keepIdleKeyring(std::unique_ptr<Keyring> keyring);

  std::mutex mutex_;
  /// One is enough: calls at the same time are rare, and connecting takes a millisecond.
  std::unique_ptr<Keyring> idleKeyring_;
};

}  // namespace quelto::keychain
