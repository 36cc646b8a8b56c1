#pragma once

#include <string>
#include <utility>
#include <vector>

#include "keychain/item_store.h"
#include "keychain/secret_service/item_search.h"
#include "keychain/secret_service/secret_session.h"

namespace quelto::keychain {

/// A keyring and the session with it, kept from one call for the next.
struct Keyring {
  explicit Keyring(std::string address) : service(std::move(address)) {}

  KeyringService service;
  SecretSession session{service};
};

/// What one call of the store does, on the call's thread, once the daemon is found. Results are those of
/// `ItemStore`; secrets are the call's.
class StoreOperation {
 public:
  StoreOperation(Keyring& keyring, TimedCall& call)
      : keyring_(keyring), call_(call), search_(keyring.service, call) {}

  [[nodiscard]] Outcome openDefaultCollection() { return search_.openDefaultCollection(); }

  /// Makes the first of the call's secrets that of the item, if it is wanted.
  [[nodiscard]] OSStatus find(const ItemMatch& match, ItemStore::Want want, Item& found);
  /// The items' secrets are the call's, in the same order.
  [[nodiscard]] OSStatus add(const std::vector<Item>& items);
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match);
  [[nodiscard]] OSStatus remove(const ItemMatch& match);

 private:
  [[nodiscard]] Outcome readSecret(const std::string& item);
  /// The call's secrets as the keyring takes them; none with another outcome than done.
  [[nodiscard]] Outcome sealSecrets(std::vector<VariantOwner>& sealed);
  [[nodiscard]] Outcome create(const std::vector<Item>& items);
  /// Sets `path` to the created item's, if there is one, after a dialog if the answer names one and it may be
  /// shown.
  [[nodiscard]] Outcome createdItem(const Answer& answer, bool mayPrompt, std::string& path);
  [[nodiscard]] Outcome removeItem(const std::string& path, const platform::Deadline& deadline);

  Keyring& keyring_;
  TimedCall& call_;
  ItemSearch search_;
};

}  // namespace quelto::keychain
