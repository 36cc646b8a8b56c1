#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <future>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "keychain/secret_service/secret_service_module.h"
#include "platform/bundle/module.h"
#include "tests/keychain/item_store_contract.h"
#include "tests/support/keyring_surroundings.h"
#include "tests/support/process_surroundings.h"

/// The module's calls, as its tests make them.
namespace quelto::keychain {

inline constexpr const char* moduleFile = "libquelto_secret_service.so";

inline ItemStore& store() {
  static auto* const instance = platform::moduleService<ItemStore>(moduleFile, "queltoSecretServiceStore");
  if (instance == nullptr) throw std::runtime_error("the module cannot be opened");
  return *instance;
}

inline std::ostream& operator<<(std::ostream& out, KeyringState state) {
  const char* const names[] = {"open", "not here", "left locked", "no answer"};
  return out << names[static_cast<std::size_t>(state)];
}

inline KeyringState openKeyring() {
  return platform::moduleFunction<decltype(queltoOpenKeyring)>(moduleFile, "queltoOpenKeyring")();
}

using test::matchOf;

inline OSStatus add(const std::string& account) { return test::addItem(store(), account); }
inline OSStatus add(Attributes attributes, platform::Secret secret) {
  const Item item{.itemClass = ItemClass::genericPassword,
                  .attributes = std::move(attributes),
                  .secret = std::move(secret)};
  return store().add({&item, 1});
}
inline OSStatus find(const std::string& account) { return test::findItem(store(), account); }

/// In the place of an answer that took longer than a call may take.
inline constexpr OSStatus tooLate = 1;

template <typename Call>
OSStatus timed(const Call& call) {
  const auto begin = std::chrono::steady_clock::now();
  const OSStatus status = call();
  return std::chrono::steady_clock::now() - begin < std::chrono::seconds(4) ? status : tooLate;
}

/// What finding, adding (the account "new"), updating and removing answer, all asked at once: no call waits
/// for another one that hangs.
using Answers = std::array<OSStatus, 4>;
constexpr Answers all(OSStatus status) { return {status, status, status, status}; }

inline Answers answersFor(const std::string& account) {
  const auto inThread = [](auto call) {
    return std::async(std::launch::async, [call] { return timed(call); });
  };
  const ItemMatch match = matchOf(account);
  auto found = inThread([=] { return find(account); });
  auto added = inThread([] { return add("new"); });
  auto updated = inThread([=] { return store().updateSecret(match, platform::Secret("changed")); });
  auto removed = inThread([=] { return store().remove(match); });
  return {found.get(), added.get(), updated.get(), removed.get()};
}

/// What opening the keyring brings, within its time.
inline KeyringState stateInTime() {
  KeyringState state{};
  EXPECT_NE(timed([&] { return state = openKeyring(), errSecSuccess; }), tooLate);
  return state;
}

/// The keyring's state and the answers, asked for at once.
inline std::pair<KeyringState, Answers> seenOf(const std::string& account) {
  auto state = std::async(std::launch::async, stateInTime);
  const Answers answers = answersFor(account);
  return {state.get(), answers};
}

/// Every test sees to it that nothing reaches standard error, however much the libraries are told to say.
class SecretServiceBus : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("G_MESSAGES_DEBUG", "all", 1);
    ::setenv("G_DBUS_DEBUG", "all", 1);
    standardError_.emplace(STDERR_FILENO);
  }
  void TearDown() override {
    const std::string text = standardError_->text();
    standardError_.reset();
    EXPECT_EQ(text, "");
  }

 private:
  std::optional<test::Captured> standardError_;
};
using SecretServiceDialog = SecretServiceBus;
using SecretServicePair = SecretServiceBus;

/// With a keyring that is open.
class SecretService : public SecretServiceBus {
 protected:
  SecretService() { around.startKeyring(); }

  test::KeyringSurroundings around;
};

}  // namespace quelto::keychain
