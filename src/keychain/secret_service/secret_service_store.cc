#include "keychain/secret_service/secret_service_store.h"

#include <utility>

#include "keychain/secret_service/bus_address.h"

namespace quelto::keychain {
namespace {

/// Below the 4 seconds that a call may take, by enough for a busy machine to return.
constexpr std::chrono::milliseconds callLimit{3500};
/// A bus answers within a millisecond; this leaves room for a machine that has just come up.
constexpr std::chrono::milliseconds stateLimit{1500};

std::shared_ptr<const Item> withoutSecret(const Item& item) {
  return std::make_shared<const Item>(
      Item{.itemClass = item.itemClass, .attributes = item.attributes, .secret = {}});
}

/// Whether the link served its call well, so that it may serve another one.
bool isSound(OSStatus status) { return status != errSecNotAvailable && status != errSecIO; }

}  // namespace

SecretServiceState SecretServiceStore::state() {
  if (!sessionBusAddress()) return SecretServiceState::absent;
  const auto state = std::make_shared<SecretServiceState>(SecretServiceState::unreachable);
  const auto look = [this, state](Errand& errand) {
    PreparedLink prepared = preparedLink(errand, &BusLink::lookForService);
    if (prepared.outcome == Outcome::done) *state = SecretServiceState::present;
    if (prepared.outcome == Outcome::gone) *state = SecretServiceState::absent;
    if (prepared.link != nullptr) keepIdleLink(std::move(prepared.link));
    return statusOf(prepared.outcome == Outcome::gone ? Outcome::done : prepared.outcome);
  };
  return Errand::run(stateLimit, look).status == errSecSuccess ? *state : SecretServiceState::unreachable;
}

OSStatus SecretServiceStore::find(const ItemMatch& match, Want want, Item& found) {
  const auto result = std::make_shared<Item>();
  Errand::Ending ending =
      visit([match, want, result](KeychainVisit& visit) { return visit.find(match, want, *result); });
  if (ending.status != errSecSuccess) return ending.status;
  found = std::move(*result);
  found.secret = std::move(ending.secret);
  return errSecSuccess;
}

OSStatus SecretServiceStore::add(const Item& item, const std::vector<std::string>& identity) {
  const auto work = [item = withoutSecret(item), identity](KeychainVisit& visit) {
    return visit.add(*item, identity);
  };
  return visit(work, item.secret.copy()).status;
}

OSStatus SecretServiceStore::updateSecret(const ItemMatch& match, HowMany howMany,
                                          const platform::Secret& secret) {
  const auto work = [match, howMany](KeychainVisit& visit) { return visit.updateSecret(match, howMany); };
  return visit(work, secret.copy()).status;
}

OSStatus SecretServiceStore::remove(const ItemMatch& match, HowMany howMany) {
  return visit([match, howMany](KeychainVisit& visit) { return visit.remove(match, howMany); }).status;
}

Errand::Ending SecretServiceStore::visit(std::function<OSStatus(KeychainVisit&)> work,
                                         platform::Secret secret) {
  auto workWithLink = [this, work = std::move(work)](Errand& errand) {
    PreparedLink prepared = preparedLink(errand, &BusLink::turnToService);
    if (prepared.outcome != Outcome::done) return statusOf(prepared.outcome);
    OSStatus status = errSecIO;
    {
      KeychainVisit visit(*prepared.link, errand);
      status = work(visit);
    }
    if (isSound(status)) keepIdleLink(std::move(prepared.link));
    return status;
  };
  return Errand::run(callLimit, std::move(workWithLink), std::move(secret));
}

SecretServiceStore::PreparedLink SecretServiceStore::preparedLink(Errand& errand,
                                                                  Outcome (BusLink::*prepare)(Errand&)) {
  const auto address = sessionBusAddress();
  if (!address) return {};
  PreparedLink prepared{.link = takeIdleLink()};
  const auto prepareIt = [&] { prepared.outcome = ((*prepared.link).*prepare)(errand); };
  if (prepared.link != nullptr && prepared.link->address() == *address) prepareIt();
  // The bus may have gone since an idle link was kept; a new one has no such excuse.
  if (prepared.outcome == Outcome::unavailable) {
    prepared.link = BusLink::connect(*address, errand);
    if (prepared.link != nullptr) prepareIt();
  }
  if (prepared.outcome != Outcome::done && prepared.outcome != Outcome::gone) prepared.link.reset();
  return prepared;
}

std::unique_ptr<BusLink> SecretServiceStore::takeIdleLink() {
  const std::lock_guard lock(mutex_);
  return std::move(idleLink_);
}

void SecretServiceStore::keepIdleLink(std::unique_ptr<BusLink> link) {
  const std::lock_guard lock(mutex_);
  // One that another call has kept meanwhile is let go of after the lock.
  std::swap(idleLink_, link);
}

}  // namespace quelto::keychain
