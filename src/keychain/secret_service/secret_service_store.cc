#include "keychain/secret_service/secret_service_store.h"

#include <utility>
#include <vector>

#include "keychain/secret_service/bus_address.h"

namespace quelto::keychain {
namespace {

/// Below the 4 seconds that a call may take, by enough for a busy machine to return.
constexpr std::chrono::milliseconds callLimit{3500};

/// Whether the connection served its call well and may serve another one.
bool isSound(OSStatus status) { return status != errSecNotAvailable && status != errSecIO; }

TimedCall::Secrets copyOf(const platform::Secret& secret) {
  TimedCall::Secrets secrets;
  secrets.push_back(secret.copy());
  return secrets;
}

}  // namespace

KeyringState SecretServiceStore::open() {
  constexpr OSStatus notHere = errSecItemNotFound;
  const auto open = [this](TimedCall& call) {
    FoundKeyring found = findKeyring(Moves::nothing, call);
    if (found.outcome == Outcome::noOwner || found.outcome == Outcome::refused) return notHere;
    if (found.keyring == nullptr) return statusOf(found.outcome);
    const Outcome outcome = StoreOperation(*found.keyring, call).openDefaultCollection();
    if (isSound(statusOf(outcome))) keepIdleKeyring(std::move(found.keyring));
    const bool isNotHere = outcome == Outcome::noSuchObject || outcome == Outcome::lockedWithoutDisplay ||
                           outcome == Outcome::refused;
    return isNotHere ? notHere : statusOf(outcome);
  };
  switch (TimedCall::run(callLimit, {}, open).status) {
    case errSecSuccess:
      return KeyringState::open;
    case notHere:
      return KeyringState::notHere;
    case errSecInteractionNotAllowed:
      return KeyringState::leftLocked;
    default:
      return KeyringState::noAnswer;
  }
}

OSStatus SecretServiceStore::find(const ItemMatch& match, Want want, Item& found) {
  const auto result = std::make_shared<Item>();
  const auto find = [match, want, result](StoreOperation& operation) {
    return operation.find(match, want, *result);
  };
  TimedCall::Result ended =
      run(want == Want::attributesAndSecret ? Moves::secrets : Moves::nothing, {}, find);
  if (ended.status != errSecSuccess) return ended.status;
  found = std::move(*result);
  if (want == Want::attributesAndSecret) found.secret = std::move(ended.secrets.front());
  return errSecSuccess;
}

OSStatus SecretServiceStore::add(std::span<const Item> items) {
  if (items.empty()) return errSecSuccess;
  const auto withoutSecrets = std::make_shared<std::vector<Item>>();
  TimedCall::Secrets secrets;
  for (const Item& item : items) {
    withoutSecrets->push_back({.itemClass = item.itemClass, .attributes = item.attributes, .secret = {}});
    secrets.push_back(item.secret.copy());
  }
  const auto add = [withoutSecrets](StoreOperation& operation) { return operation.add(*withoutSecrets); };
  return run(Moves::secrets, std::move(secrets), add).status;
}

OSStatus SecretServiceStore::updateSecret(const ItemMatch& match, const platform::Secret& secret) {
  return run(Moves::secrets, copyOf(secret),
             [match](StoreOperation& operation) { return operation.updateSecret(match); })
      .status;
}

OSStatus SecretServiceStore::remove(const ItemMatch& match) {
  return run(Moves::nothing, {}, [match](StoreOperation& operation) { return operation.remove(match); })
      .status;
}

TimedCall::Result SecretServiceStore::run(Moves moves, TimedCall::Secrets secrets,
                                          std::function<OSStatus(StoreOperation&)> work) {
  auto workWithKeyring = [this, moves, work = std::move(work)](TimedCall& call) {
    FoundKeyring found = findKeyring(moves, call);
    if (found.keyring == nullptr) return statusOf(found.outcome);
    OSStatus status = errSecIO;
    {
      StoreOperation operation(*found.keyring, call);
      status = work(operation);
    }
    if (isSound(status)) keepIdleKeyring(std::move(found.keyring));
    return status;
  };
  return TimedCall::run(callLimit, std::move(secrets), std::move(workWithKeyring));
}

SecretServiceStore::FoundKeyring SecretServiceStore::findKeyring(Moves moves, TimedCall& call) {
  const auto address = sessionBusAddress();
  if (!address) return {.outcome = Outcome::noOwner};
  FoundKeyring found{.keyring = takeIdleKeyring()};
  const auto begin = [&] {
    if (moves == Moves::secrets) found.keyring->session.prepare();
    found.outcome = found.keyring->service.findDaemon(call);
  };
  if (found.keyring != nullptr && found.keyring->service.address() == *address) begin();
  // The bus may have ended since the connection was kept; a second failure means that it does not answer.
  if (found.outcome == Outcome::noAnswer) {
    found.keyring = std::make_unique<Keyring>(*address);
    begin();
  }
  if (found.outcome != Outcome::done) found.keyring.reset();
  return found;
}

std::unique_ptr<Keyring> SecretServiceStore::takeIdleKeyring() {
  const std::lock_guard lock(mutex_);
  return std::move(idleKeyring_);
}

void SecretServiceStore::keepIdleKeyring(std::unique_ptr<Keyring> keyring) {
  const std::lock_guard lock(mutex_);
  // One that another call has kept meanwhile is closed after the lock.
  std::swap(idleKeyring_, keyring);
}

}  // namespace quelto::keychain
