#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "keychain/item_store.h"
#include "keychain/secret_service/bus_link.h"
#include "keychain/secret_service/errand.h"
#include "keychain/secret_service/keychain_visit.h"
#include "keychain/secret_service/secret_service_keychain.h"

namespace quelto::keychain {

/// The keyring as an `ItemStore`. Each call is an errand of its own: what it is given is copied, since its
/// thread may outlive it, and calls do not wait for each other.
class SecretServiceStore final : public ItemStore {
 public:
  [[nodiscard]] SecretServiceState state();

  [[nodiscard]] OSStatus find(const ItemMatch& match, Want want, Item& found) override;
  [[nodiscard]] OSStatus add(const Item& item, const std::vector<std::string>& identity) override;
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match, HowMany howMany,
                                      const platform::Secret& secret) override;
  [[nodiscard]] OSStatus remove(const ItemMatch& match, HowMany howMany) override;

 private:
  /// Runs the work with a link, kept from an earlier call if that one still stands, and the secret.
  [[nodiscard]] Errand::Ending visit(std::function<OSStatus(KeychainVisit&)> work,
                                     platform::Secret secret = {});
  /// A link and what `prepare` said of it; null unless that is done or gone.
  struct PreparedLink {
    Outcome outcome = Outcome::unavailable;
    std::unique_ptr<BusLink> link;
  };
  [[nodiscard]] PreparedLink preparedLink(Errand& errand, Outcome (BusLink::*prepare)(Errand&));
  [[nodiscard]] std::unique_ptr<BusLink> takeIdleLink();
  void keepIdleLink(std::unique_ptr<BusLink> link);

  std::mutex mutex_;
  /// One is enough: calls at the same time are rare, and connecting takes a millisecond.
  std::unique_ptr<BusLink> idleLink_;
};

}  // namespace quelto::keychain
