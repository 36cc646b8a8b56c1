#include "keychain/secret_service/store_operation.h"

#include <algorithm>
#include <string_view>

#include "keychain/secret_service/prompt.h"

namespace quelto::keychain {
namespace {

bool isDuplicate(const Attributes& one, const Attributes& other, ItemClass itemClass) {
  return std::ranges::all_of(identityOf(itemClass), [&](std::string_view name) {
    return valueOrEmpty(one, name) == valueOrEmpty(other, name);
  });
}

bool areAllDifferent(const std::vector<Item>& items) {
  for (std::size_t one = 0; one < items.size(); ++one) {
    for (std::size_t other = 0; other < one; ++other) {
      if (items[one].itemClass == items[other].itemClass &&
          isDuplicate(items[one].attributes, items[other].attributes, items[one].itemClass))
        return false;
    }
  }
  return true;
}

/// What finds at least the duplicates: what is empty in the item may be missing in them, and the keyring
/// cannot match that.
ItemMatch matchForDuplicatesOf(const Item& item) {
  ItemMatch match{.itemClass = item.itemClass, .attributes = {}};
  for (const std::string_view name : identityOf(item.itemClass)) {
    const std::string_view value = valueOrEmpty(item.attributes, name);
    if (!value.empty()) match.attributes.emplace(name, value);
  }
  return match;
}

}  // namespace

OSStatus StoreOperation::find(const ItemMatch& match, ItemStore::Want want, Item& found) {
  std::vector<std::vector<StoredItem>> items;
  if (const Outcome outcome = search_.find({match}, ItemSearch::Purpose::reading, items);
      outcome != Outcome::done)
    return statusOf(outcome);
  for (StoredItem& item : items.front()) {
    const Outcome outcome =
        want == ItemStore::Want::attributesAndSecret ? readSecret(item.path) : Outcome::done;
    if (outcome == Outcome::noSuchObject) continue;
    if (outcome != Outcome::done) return statusOf(outcome);
    found.itemClass = item.itemClass;
    found.attributes = std::move(item.attributes);
    return errSecSuccess;
  }
  return errSecItemNotFound;
}

OSStatus StoreOperation::add(const std::vector<Item>& items) {
  if (!areAllDifferent(items)) return errSecDuplicateItem;
  std::vector<ItemMatch> matches;
  matches.reserve(items.size());
  for (const Item& item : items) matches.push_back(matchForDuplicatesOf(item));
  std::vector<std::vector<StoredItem>> found;
  if (const Outcome outcome = search_.find(matches, ItemSearch::Purpose::adding, found);
      outcome != Outcome::done)
    return statusOf(outcome);
  for (std::size_t index = 0; index < items.size(); ++index) {
    for (const StoredItem& other : found[index]) {
      if (isDuplicate(other.attributes, items[index].attributes, other.itemClass)) return errSecDuplicateItem;
    }
  }
  // To make one, the person would choose a password in a dialog: a matter for the desktop, not for us.
  if (search_.defaultCollection().empty()) return errSecNotAvailable;
  return statusOf(create(items));
}

OSStatus StoreOperation::updateSecret(const ItemMatch& match) {
  std::vector<std::vector<StoredItem>> items;
  Outcome outcome = search_.find({match}, ItemSearch::Purpose::changing, items);
  if (outcome != Outcome::done) return statusOf(outcome);
  if (items.front().empty()) return errSecItemNotFound;
  std::vector<VariantOwner> secrets;
  if (outcome = sealSecrets(secrets); outcome != Outcome::done) return statusOf(outcome);
  for (const StoredItem& item : items.front()) {
    outcome = keyring_.service
                  .ask({.path = item.path,
                        .interface = itemInterface,
                        .method = "SetSecret",
                        .arguments = owned(g_variant_new("(@(oayays))", secrets.front().get())),
                        .answerType = "()"},
                       call_.deadline())
                  .outcome;
    if (outcome != Outcome::noSuchObject) return statusOf(outcome);
  }
  return errSecItemNotFound;
}

OSStatus StoreOperation::remove(const ItemMatch& match) {
  std::vector<std::vector<StoredItem>> items;
  if (const Outcome outcome = search_.find({match}, ItemSearch::Purpose::changing, items);
      outcome != Outcome::done)
    return statusOf(outcome);
  for (const StoredItem& item : items.front()) {
    const Outcome outcome = removeItem(item.path, call_.deadline());
    if (outcome != Outcome::noSuchObject) return statusOf(outcome);
  }
  return errSecItemNotFound;
}

Outcome StoreOperation::readSecret(const std::string& item) {
  if (const Outcome outcome = keyring_.session.open(call_.deadline()); outcome != Outcome::done)
    return outcome;
  const Answer answer =
      keyring_.service.ask({.path = item,
                            .interface = itemInterface,
                            .method = "GetSecret",
                            .arguments = owned(g_variant_new("(o)", keyring_.session.path().c_str())),
                            .answerType = "((oayays))"},
                           call_.deadline());
  if (answer.outcome != Outcome::done) return answer.outcome;
  Outcome outcome = Outcome::failed;
  const auto unseal = [&](TimedCall::Secrets& secrets) {
    auto secret = keyring_.session.unsealed(childOf(answer.value, 0));
    if (!secret) return;
    secrets.clear();
    secrets.push_back(*std::move(secret));
    outcome = Outcome::done;
  };
  return call_.useSecrets(unseal) ? outcome : Outcome::noAnswer;
}

Outcome StoreOperation::sealSecrets(std::vector<VariantOwner>& sealed) {
  if (const Outcome outcome = keyring_.session.open(call_.deadline()); outcome != Outcome::done)
    return outcome;
  bool isDone = true;
  const auto seal = [&](const TimedCall::Secrets& secrets) {
    for (const platform::Secret& secret : secrets) {
      sealed.push_back(keyring_.session.sealed(secret.view()));
      isDone = isDone && sealed.back() != nullptr;
    }
  };
  if (!call_.useSecrets(seal)) return Outcome::noAnswer;
  return isDone ? Outcome::done : Outcome::failed;
}

/// All requests leave at once and are followed to their end, whether or not the caller has left meanwhile:
/// what this process could still undo or complete is never left half done.
Outcome StoreOperation::create(const std::vector<Item>& items) {
  std::vector<VariantOwner> secrets;
  Outcome outcome = sealSecrets(secrets);
  if (outcome != Outcome::done) return outcome;
  std::vector<Request> requests;
  for (std::size_t index = 0; index < items.size(); ++index) {
    // Never to replace: that would take the place of an item that another program has just added.
    requests.push_back(
        {.path = search_.defaultCollection(),
         .interface = collectionInterface,
         .method = "CreateItem",
         .arguments = owned(g_variant_new("(@a{sv}@(oayays)b)", propertiesOf(items[index]).get(),
                                          secrets[index].get(), FALSE)),
         .answerType = "(oo)"});
  }
  const auto never = platform::Deadline::never();
  std::vector<std::string> created;
  for (const Answer& answer : keyring_.service.askAll(requests, never)) {
    std::string path;
    const Outcome one = createdItem(answer, outcome == Outcome::done, path);
    if (!path.empty()) created.push_back(path);
    if (outcome == Outcome::done) outcome = one;
  }
  if (outcome == Outcome::done) return outcome;
  // By path, since another maker's items may have the same attributes, and in reverse, so that nobody finds
  // an item without those before it.
  for (; !created.empty(); created.pop_back()) (void)removeItem(created.back(), never);
  return outcome;
}

Outcome StoreOperation::createdItem(const Answer& answer, bool mayPrompt, std::string& path) {
  if (answer.outcome != Outcome::done) return answer.outcome;
  const std::string prompt = textOf(answer.value, 1);
  if (prompt == noPath) {
    path = textOf(answer.value, 0);
    return Outcome::done;
  }
  if (!mayPrompt) return Outcome::locked;
  // Others do not write meanwhile: they would not find what this dialog is about to create.
  const Answer prompted = showPrompt(keyring_.service, call_, prompt);
  if (prompted.value != nullptr &&
      g_variant_is_of_type(prompted.value.get(), G_VARIANT_TYPE_OBJECT_PATH) != FALSE)
    path = g_variant_get_string(prompted.value.get(), nullptr);
  return prompted.outcome;
}

Outcome StoreOperation::removeItem(const std::string& path, const platform::Deadline& deadline) {
  const Answer answer = keyring_.service.ask({.path = path,
                                              .interface = itemInterface,
                                              .method = "Delete",
                                              .arguments = owned(g_variant_new("()")),
                                              .answerType = "(o)"},
                                             deadline);
  if (answer.outcome != Outcome::done) return answer.outcome;
  const std::string prompt = textOf(answer.value, 0);
  if (prompt != noPath) search_.endWriting();
  return showPrompt(keyring_.service, call_, prompt).outcome;
}

}  // namespace quelto::keychain
