#include "keychain/sec_item.h"

#include <utility>

#include "keychain/item_dictionary.h"
#include "keychain/keychain_choice.h"
#include "keychain/sec_key.h"
#include "platform/files/path_status.h"
#include "platform/secrets/core_dumps.h"

namespace quelto::platform {
namespace {

using keychain::Item;
using keychain::ItemClass;
using keychain::ItemQuery;
using keychain::ItemStore;

/// Runs the work on the place that keeps the items.
template <typename Work>
OSStatus onStore(const Work& work) {
  const keychain::ChosenStore chosen = keychain::chosenStore();
  return chosen.status == errSecSuccess ? work(*chosen.store) : chosen.status;
}

/// Keys are handed out as references alone, passwords in any way.
bool isAnswerable(const ItemQuery& query) {
  return query.match.itemClass != ItemClass::key || (!query.returnsData && !query.returnsAttributes);
}

OSStatus passwordResult(const ItemQuery& query, Item item, std::optional<SecValue>& result) {
  const auto attributes = [&item] { return std::make_shared<SecDictionary>(keychain::dictionaryOf(item)); };
  if (query.returnsAttributes) {
    const auto dictionary = attributes();
    if (query.returnsData)
      dictionary->set(kSecValueData, std::make_shared<const Secret>(std::move(item.secret)));
    result = std::shared_ptr<const SecDictionary>(dictionary);
  } else if (query.returnsData) {
    result = std::make_shared<const Secret>(std::move(item.secret));
  } else if (query.returnsReference) {
    result = SecItemReference{.attributes = attributes()};
  }
  return errSecSuccess;
}

OSStatus keyResult(const Item& item, std::optional<SecValue>& result) {
  const auto keyClass = item.attributes.find(kSecAttrKeyClass);
  SecKeyRef key =
      keyClass != item.attributes.end() ? keychain::keyOf(keyClass->second, item.secret) : nullptr;
  if (key == nullptr) return errSecIO;
  result = std::move(key);
  return errSecSuccess;
}

OSStatus find(ItemStore& store, const ItemQuery& query, std::optional<SecValue>* result) {
  const bool isKey = query.match.itemClass == ItemClass::key;
  const bool needsSecret = result != nullptr && (query.returnsData || (isKey && query.returnsReference));
  std::optional<keychain::CoreDumpsOff> whileItIsRead;
  if (isKey && needsSecret) whileItIsRead.emplace();
  Item item;
  const OSStatus status = store.find(
      query.match, needsSecret ? ItemStore::Want::attributesAndSecret : ItemStore::Want::attributes, item);
  if (status != errSecSuccess || result == nullptr) return status;
  if (!isKey) return passwordResult(query, std::move(item), *result);
  return query.returnsReference ? keyResult(item, *result) : errSecSuccess;
}

}  // namespace

OSStatus SecItemCopyMatching(const SecDictionary& query, std::optional<SecValue>* result) {
  if (result != nullptr) result->reset();
  const auto asked = keychain::queryOf(query);
  if (!asked || !isAnswerable(*asked)) return errSecParam;
  return onStore([&](ItemStore& store) { return find(store, *asked, result); });
}

OSStatus SecItemAdd(const SecDictionary& attributes) {
  const auto item = keychain::newItemOf(attributes);
  return item ? keychain::addToChosenStore({&*item, 1}) : errSecParam;
}

OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& changes) {
  const auto asked = keychain::queryOf(query);
  const auto data = keychain::newDataOf(changes);
  if (!asked || asked->match.itemClass == ItemClass::key || !data) return errSecParam;
  return onStore([&](ItemStore& store) { return store.updateSecret(asked->match, asked->howMany, *data); });
}

OSStatus SecItemDelete(const SecDictionary& query) {
  const auto asked = keychain::queryOf(query);
  if (!asked) return errSecParam;
  return onStore([&](ItemStore& store) { return store.remove(asked->match, asked->howMany); });
}

OSStatus SecTrustedApplicationCreateFromPath(const std::string& path, SecTrustedApplication& application) {
  if (!pathKind(path)) return errSecParam;
  application.path = path;
  return errSecSuccess;
}

OSStatus SecAccessCreate(const std::string& descriptor, const std::vector<SecTrustedApplication>& trustedList,
                         SecAccessRef& access) {
  auto made = std::make_shared<SecAccess>();
  made->descriptor = descriptor;
  for (const SecTrustedApplication& application : trustedList)
    made->applicationPaths.push_back(application.path);
  access = std::move(made);
  return errSecSuccess;
}

}  // namespace quelto::platform
