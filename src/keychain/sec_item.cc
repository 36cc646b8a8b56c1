#include "keychain/sec_item.h"

#include <utility>

#include "keychain/item_dictionary.h"
#include "keychain/item_place.h"
#include "keychain/sec_key.h"
#include "platform/files/path_status.h"
#include "platform/secrets/core_dumps.h"

namespace quelto::keychain {
namespace {

using Result = std::optional<SecValue>;

/// Whether a result of the kind that the query asks for exists: keys are handed out as references alone,
/// passwords as data and attributes alone. Without a result any query is good.
bool isAnswerable(const ItemQuery& query, const Result* result) {
  if (query.match.itemClass == ItemClass::key) return !query.returnsData && !query.returnsAttributes;
  return result == nullptr || !query.returnsReference;
}

void setPasswordResult(const ItemQuery& query, Item item, Result& result) {
  if (query.returnsAttributes) {
    const auto dictionary = std::make_shared<SecDictionary>(dictionaryOf(item));
    if (query.returnsData)
      dictionary->set(kSecValueData, std::make_shared<const platform::Secret>(std::move(item.secret)));
    result = std::shared_ptr<const SecDictionary>(dictionary);
  } else if (query.returnsData) {
    result = std::make_shared<const platform::Secret>(std::move(item.secret));
  }
}

OSStatus findPassword(ItemStore& store, const ItemQuery& query, Result* result) {
  const bool needsSecret = result != nullptr && query.returnsData;
  Item item;
  const OSStatus status = store.find(
      query.match, needsSecret ? ItemStore::Want::attributesAndSecret : ItemStore::Want::attributes, item);
  if (status == errSecSuccess && result != nullptr) setPasswordResult(query, std::move(item), *result);
  return status;
}

OSStatus findKey(ItemStore& store, const ItemQuery& query, Result* result) {
  Item item;
  if (result == nullptr || !query.returnsReference)
    return store.find(query.match, ItemStore::Want::attributes, item);
  const platform::CoreDumpsOff whileItIsRead;
  const OSStatus status = store.find(query.match, ItemStore::Want::attributesAndSecret, item);
  if (status != errSecSuccess) return status;
  const bool isPrivate = valueOrEmpty(item.attributes, kSecAttrKeyClass) == kSecAttrKeyClassPrivate.name;
  SecKeyRef key = SecKey::open(isPrivate ? SecKey::Half::privateKey : SecKey::Half::publicKey, item.secret);
  if (key == nullptr) return errSecIO;
  *result = std::move(key);
  return errSecSuccess;
}

}  // namespace

OSStatus SecItemCopyMatching(const SecDictionary& query, std::optional<SecValue>* result) {
  if (result != nullptr) result->reset();
  const auto asked = queryOf(query);
  if (!asked || !isAnswerable(*asked, result)) return errSecParam;
  const PlacedStore placed = settledStore();
  if (placed.store == nullptr) return placed.status;
  const auto find = asked->match.itemClass == ItemClass::key ? findKey : findPassword;
  return find(*placed.store, *asked, result);
}

OSStatus SecItemAdd(const SecDictionary& attributes) {
  const auto item = newItemOf(attributes);
  if (!item) return errSecParam;
  const PlacedStore placed = storeForAdding();
  return placed.store != nullptr ? placed.store->add({&*item, 1}) : placed.status;
}

OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& changes) {
  const auto asked = queryOf(query);
  const auto data = newDataOf(changes);
  const bool isComplete = asked && asked->isLimitedToOne && data;
  if (!isComplete || asked->match.itemClass == ItemClass::key) return errSecParam;
  const PlacedStore placed = settledStore();
  return placed.store != nullptr ? placed.store->updateSecret(asked->match, *data) : placed.status;
}

OSStatus SecItemDelete(const SecDictionary& query) {
  const auto asked = queryOf(query);
  if (!asked || !asked->isLimitedToOne) return errSecParam;
  const PlacedStore placed = settledStore();
  if (placed.store == nullptr) return placed.status;
  if (asked->match.itemClass == ItemClass::key && !canUseKeys()) return errSecNotAvailable;
  return placed.store->remove(asked->match);
}

OSStatus SecTrustedApplicationCreateFromPath(const std::string& path, SecTrustedApplication& application) {
  if (!platform::pathKind(path)) return errSecParam;
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

}  // namespace quelto::keychain
