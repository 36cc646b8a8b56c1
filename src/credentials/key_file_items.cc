#include <algorithm>
#include <span>
#include <utility>

#include "credentials/section_match.h"
#include "ini/ini_file.h"
#include "platform/crypto/base64.h"
#include "platform/text/utf8.h"
#include "securefile/key_file.h"
#include "securefile/rsa_keys.h"
#include "ui/text_format.h"
#include "util/dates.h"
#include "util/lines.h"

namespace quelto::securefile {
namespace {

using credentials::matches;
using ini::IniSection;
using ini::IniValues;
using items::SecPasswordStruct;
using platform::Secret;

constexpr std::int64_t lineLength = 120;

/// What follows a line end in a text of the item would be read as entries and sections of its own.
bool holdsLineEnd(const IniSection& item) {
  return std::ranges::any_of(item, [](const auto& entry) { return util::holdsLineEnd(entry.value); });
}

/// The secret as the file holds it; absent when it cannot be encrypted.
std::optional<std::string> encrypted(const Secret& password, const keychain::SecKey& publicKey) {
  if (password.size() == 0) return "";
  const auto blocks = rsaEncryptData(password.view(), publicKey);
  return blocks ? platform::base64(blocks->view()) : std::nullopt;
}

/// Empty when it cannot be decrypted.
Secret decrypted(const IniSection& section, const keychain::SecKey& privateKey) {
  const std::string* const text = section.find("password");
  auto secret = rsaDecryptData(text != nullptr ? *text : "", privateKey);
  return secret && platform::isValidUtf8(secret->view()) ? std::move(*secret) : Secret();
}

/// A note is looked up by any name when its own is empty.
SecPasswordStruct lookedUp(const SecPasswordStruct& match) {
  SecPasswordStruct record = match;
  auto* const note = std::get_if<items::SecureNote>(&record);
  if (note != nullptr && note->name == "") note->name.reset();
  return record;
}

/// Reads the file, changes it and saves it. False when it would not keep what it has, or cannot be saved.
template <typename Change>
bool rewrite(const std::string& path, Change change) {
  ini::IniFile file(path);
  if ((file.error() && !file.isMissing()) || file.hasLostEntries()) return false;
  const std::string time = util::toIsoText(util::now());
  change(file.values, time);
  return file.saveAll(lineLength, ui::formatted(KeyFile::keyfileHead(), std::span(&time, 1)));
}

/// Changes the secret of the last section that matches, or adds a section.
void store(IniValues& values, const SecPasswordStruct& settings, const std::string& password,
           const std::string& time) {
  std::string name;
  for (const auto& section : values) {
    if (matches(section.value, settings)) name = section.name;
  }
  const bool isNew = name.empty();
  IniSection item = isNew ? entryOf(settings) : values[name];
  item["password"] = password;
  if (isNew) item["cdate"] = time;
  item["mdate"] = time;
  values[isNew ? KeyFile::genSectionName(item) : name] = std::move(item);
}

}  // namespace

std::optional<IniSection> KeyFile::findSecItem(const SecPasswordStruct& match) {
  const SecPasswordStruct record = lookedUp(match);
  const std::string path = keyfilePath();
  std::unique_lock lock(accessLock);
  const ini::IniFile file(path);
  lock.unlock();
  for (const auto& section : file.values) {
    if (matches(section.value, record)) return section.value;
  }
  return std::nullopt;
}

std::optional<Secret> KeyFile::loadSecItemPassword(const SecPasswordStruct& match) {
  auto account = loadSecItemAccount(match);
  return account ? std::optional(std::move(account->password)) : std::nullopt;
}

std::optional<items::Account> KeyFile::loadSecItemAccount(const SecPasswordStruct& match) {
  initSecureKey({});
  const auto section = findSecItem(match);
  const auto key = privateKey();
  if (!section || key == nullptr) return std::nullopt;
  const std::string* const account = section->find("account");
  return items::Account{.username = account != nullptr ? *account : "",
                        .password = decrypted(*section, *key)};
}

bool KeyFile::addSecItem(const SecPasswordStruct& settings, const Secret& password) {
  if (holdsLineEnd(entryOf(settings))) return false;
  initSecureKey({});
  const auto key = publicKey();
  const auto secret = key != nullptr ? encrypted(password, *key) : std::nullopt;
  if (!secret) return false;
  return runAlone([&](const std::string& path) {
    return rewrite(
        path, [&](IniValues& values, const std::string& time) { store(values, settings, *secret, time); });
  });
}

bool KeyFile::deleteSecItem(const SecPasswordStruct& match, DeleteAll deleteAll) {
  return runAlone([&](const std::string& path) {
    return rewrite(path, [&](IniValues& values, const std::string& /*time*/) {
      bool isDone = false;
      values.eraseIf([&](const auto& section) {
        const bool isErased = !isDone && matches(section.value, match);
        isDone = isDone || (isErased && deleteAll == DeleteAll::no);
        return isErased;
      });
    });
  });
}

}  // namespace quelto::securefile
