#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "keychain/secret_service/secret_service_keychain.h"
#include "platform/bundle/module.h"
#include "tests/support/process_surroundings.h"

/// The module's calls, as its tests make them.
namespace quelto::keychain {

inline constexpr const char* moduleFile = "libquelto_secret_service.so";

inline ItemStore& store() {
  static auto* const instance = platform::moduleService<ItemStore>(moduleFile, "queltoOpenSecretService");
  if (instance == nullptr) throw std::runtime_error("the module cannot be opened");
  return *instance;
}

inline SecretServiceState state() {
  void* const entry = platform::moduleEntry(moduleFile, "queltoSecretServiceState");
  return reinterpret_cast<SecretServiceState (*)()>(entry)();
}

inline const std::vector<std::string> identity{"account", "service", "generic", "type"};

inline Attributes attributesOf(const std::string& account) {
  return {{"service", "svn"}, {"account", account}};
}
inline ItemMatch matchOf(Attributes attributes) {
  return {.itemClass = ItemClass::genericPassword, .attributes = std::move(attributes)};
}
inline OSStatus add(Attributes attributes, platform::Secret secret = platform::Secret("s3cret")) {
  return store().add({.itemClass = ItemClass::genericPassword,
                      .attributes = std::move(attributes),
                      .secret = std::move(secret)},
                     identity);
}
inline OSStatus find(const Attributes& attributes, Item& found) {
  return store().find(matchOf(attributes), ItemStore::Want::attributesAndSecret, found);
}
inline OSStatus find(const Attributes& attributes) {
  Item found;
  return find(attributes, found);
}
inline std::string secretOf(const Attributes& attributes) {
  Item found;
  const OSStatus status = find(attributes, found);
  return status == errSecSuccess ? std::string(found.secret.view()) : "status " + std::to_string(status);
}

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
  const ItemMatch match = matchOf(attributesOf(account));
  auto found = inThread([=] { return find(attributesOf(account)); });
  auto added = inThread([] { return add(attributesOf("new")); });
  auto updated = inThread([=] { return store().updateSecret(match, HowMany::all, platform::Secret("changed")); });
  auto removed = inThread([=] { return store().remove(match, HowMany::all); });
  return {found.get(), added.get(), updated.get(), removed.get()};
}

/// Every test sees to it that nothing reaches standard error, however much the libraries are told to say.
class SecretService : public ::testing::Test {
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

}  // namespace quelto::keychain
