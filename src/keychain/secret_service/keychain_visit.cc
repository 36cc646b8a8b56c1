#include "keychain/secret_service/keychain_visit.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace quelto::keychain {
namespace {

constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

/// What the service says instead of a path when there is none.
constexpr const char* noPath = "/";

/// Items read at once; a bus bounds how many answers one connection may be waiting for.
constexpr std::size_t batchSize = 100;

std::vector<std::string> pathsIn(GVariant* paths) {
  std::vector<std::string> result;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, paths);
  const char* path = nullptr;
  while (g_variant_iter_next(&iterator, "&o", &path) != FALSE) result.emplace_back(path);
  return result;
}

/// Notes the collection of a locked item: an item's path is its collection's and one step more.
void noteCollectionOf(const std::string& item, std::vector<std::string>& collections) {
  std::string collection = item.substr(0, item.rfind('/'));
  if (std::ranges::find(collections, collection) == collections.end())
    collections.push_back(std::move(collection));
}

/// An attribute's value; a missing one equals an empty one.
std::string_view valueOf(const Attributes& attributes, const std::string& name) {
  const auto found = attributes.find(name);
  return found != attributes.end() ? std::string_view(found->second) : std::string_view();
}

/// What the keyring can be asked for when it is to find those that equal the item in `identity`: what is
/// empty there may be missing in them, and the keyring cannot match that.
ItemMatch matchForDuplicatesOf(const Item& item, const std::vector<std::string>& identity) {
  ItemMatch match{.itemClass = item.itemClass, .attributes = {}};
  for (const std::string& name : identity) {
    const std::string_view value = valueOf(item.attributes, name);
    if (!value.empty()) match.attributes.insert_or_assign(name, value);
  }
  return match;
}

}  // namespace

OSStatus KeychainVisit::find(const ItemMatch& match, ItemStore::Want want, Item& found) {
  std::vector<StoredItem> items;
  if (const Outcome outcome = collect(match, Purpose::reading, items); outcome != Outcome::done)
    return statusOf(outcome);
  for (StoredItem& item : items) {
    if (want == ItemStore::Want::attributesAndSecret) {
      const Outcome outcome = link_.readSecret(errand_, item.path);
      if (outcome == Outcome::gone) continue;
      if (outcome != Outcome::done) return statusOf(outcome);
    }
    found.itemClass = item.itemClass;
    found.attributes = std::move(item.attributes);
    return errSecSuccess;
  }
  return errSecItemNotFound;
}

OSStatus KeychainVisit::add(const Item& item, const std::vector<std::string>& identity) {
  std::vector<StoredItem> candidates;
  const Outcome outcome = collect(matchForDuplicatesOf(item, identity), Purpose::adding, candidates);
  if (outcome != Outcome::done) return statusOf(outcome);
  const auto isDuplicate = [&](const StoredItem& other) {
    return std::ranges::all_of(identity, [&](const std::string& name) {
      return valueOf(other.attributes, name) == valueOf(item.attributes, name);
    });
  };
  if (std::ranges::any_of(candidates, isDuplicate)) return errSecDuplicateItem;
  // Making one takes a dialog in which the person chooses a password: a matter for the desktop, not for us.
  if (defaultCollection_.empty()) return errSecNotAvailable;
  const BusLink::Answer secret = link_.sealedSecret(errand_);
  if (secret.outcome != Outcome::done) return statusOf(secret.outcome);
  const VariantOwner properties = propertiesOf(item);
  // Never to replace: that would also take the place of an item that somebody has just added.
  const Outcome created =
      change(defaultCollection_,
             {.interface = collectionInterface,
              .method = "CreateItem",
              .arguments = g_variant_new("(@a{sv}@(oayays)b)", properties.get(), secret.value.get(), FALSE),
              .answerType = "(oo)"});
  return statusOf(created);
}

OSStatus KeychainVisit::updateSecret(const ItemMatch& match, HowMany howMany) {
  std::vector<StoredItem> items;
  if (const Outcome outcome = collect(match, Purpose::changing, items); outcome != Outcome::done)
    return statusOf(outcome);
  if (items.empty()) return errSecItemNotFound;
  const BusLink::Answer secret = link_.sealedSecret(errand_);
  if (secret.outcome != Outcome::done) return statusOf(secret.outcome);
  return changeEach(items, howMany,
                    {.interface = itemInterface,
                     .method = "SetSecret",
                     .arguments = g_variant_new("(@(oayays))", secret.value.get()),
                     .answerType = "()"});
}

OSStatus KeychainVisit::remove(const ItemMatch& match, HowMany howMany) {
  std::vector<StoredItem> items;
  if (const Outcome outcome = collect(match, Purpose::changing, items); outcome != Outcome::done)
    return statusOf(outcome);
  return changeEach(items, howMany,
                    {.interface = itemInterface,
                     .method = "Delete",
                     .arguments = g_variant_new("()"),
                     .answerType = "(o)"});
}

OSStatus KeychainVisit::changeEach(const std::vector<StoredItem>& items, HowMany howMany,
                                   const BusLink::Request& request) {
  const VariantOwner arguments = owned(request.arguments);
  bool isAnyChanged = false;
  for (const StoredItem& item : items) {
    const Outcome outcome = change(item.path, request);
    if (outcome == Outcome::gone) continue;
    if (outcome != Outcome::done) return statusOf(outcome);
    isAnyChanged = true;
    if (howMany == HowMany::first) break;
  }
  return isAnyChanged ? errSecSuccess : errSecItemNotFound;
}

Outcome KeychainVisit::change(const std::string& path, const BusLink::Request& request) {
  const BusLink::Answer answer = link_.ask(errand_, path, request);
  const std::string_view type = request.answerType;
  if (answer.outcome != Outcome::done || !type.ends_with("o)")) return answer.outcome;
  // The change waits for the person.
  const char* prompt = nullptr;
  g_variant_get_child(answer.value.get(), type.size() - 3, "&o", &prompt);
  return link_.showPrompt(errand_, prompt);
}

Outcome KeychainVisit::collect(const ItemMatch& match, Purpose purpose, std::vector<StoredItem>& items) {
  for (bool mayUnlock = true;; mayUnlock = false) {
    Outcome outcome = purpose != Purpose::reading ? link_.beginWriting(errand_) : Outcome::done;
    std::vector<std::string> locked;
    if (outcome == Outcome::done) outcome = look(match, items, locked);
    // Without a match the place has to be open to say that there is none.
    if (outcome == Outcome::done && locked.empty() && (items.empty() || purpose == Purpose::adding))
      outcome = lookAtDefaultCollection(locked);
    if (outcome != Outcome::done) return outcome;
    if (locked.empty()) break;
    if (!mayUnlock) return Outcome::locked;
    outcome = link_.unlock(errand_, locked);
    // What was found of a collection before it was open has neither label nor attributes: look once more.
    if (outcome != Outcome::done) return outcome;
  }
  std::ranges::sort(items, isOlder);
  return Outcome::done;
}

Outcome KeychainVisit::look(const ItemMatch& match, std::vector<StoredItem>& items,
                            std::vector<std::string>& locked) {
  items.clear();
  const VariantOwner attributes = lookupAttributesOf(match);
  const BusLink::Answer answer = link_.ask(errand_, servicePath,
                                           {.interface = serviceInterface,
                                            .method = "SearchItems",
                                            .arguments = g_variant_new("(@a{ss})", attributes.get()),
                                            .answerType = "(aoao)"});
  // The service itself cannot have gone: it has not come up yet, or is none.
  if (answer.outcome == Outcome::gone) return Outcome::unavailable;
  if (answer.outcome != Outcome::done) return answer.outcome;
  const VariantOwner unlockedItems(g_variant_get_child_value(answer.value.get(), 0));
  const VariantOwner lockedItems(g_variant_get_child_value(answer.value.get(), 1));
  for (const std::string& path : pathsIn(lockedItems.get())) noteCollectionOf(path, locked);
  return locked.empty() ? read(pathsIn(unlockedItems.get()), match, items, locked) : Outcome::done;
}

Outcome KeychainVisit::read(const std::vector<std::string>& paths, const ItemMatch& match,
                            std::vector<StoredItem>& items, std::vector<std::string>& locked) {
  for (std::size_t begin = 0; begin < paths.size(); begin += batchSize) {
    const auto first = paths.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto count = static_cast<std::ptrdiff_t>(std::min(batchSize, paths.size() - begin));
    const std::vector<std::string> batch(first, first + count);
    const std::vector<BusLink::Answer> answers =
        link_.askEach(errand_, batch,
                      {.interface = propertiesInterface,
                       .method = "GetAll",
                       .arguments = g_variant_new("(s)", itemInterface),
                       .answerType = "(a{sv})"});
    for (std::size_t index = 0; index < batch.size(); ++index) {
      if (answers[index].outcome == Outcome::gone) continue;
      if (answers[index].outcome != Outcome::done) return answers[index].outcome;
      const VariantOwner properties(g_variant_get_child_value(answers[index].value.get(), 0));
      std::optional<StoredItem> item = storedItemOf(batch[index], properties.get());
      if (!item) continue;
      if (item->isLocked) {
        noteCollectionOf(item->path, locked);
      } else if (fulfils(*item, match)) {
        // A keyring that matches more than asked for (in any case, say) loses it here.
        items.push_back(*std::move(item));
      }
    }
  }
  return Outcome::done;
}

Outcome KeychainVisit::lookAtDefaultCollection(std::vector<std::string>& locked) {
  defaultCollection_.clear();
  std::string collection;
  if (const Outcome outcome = readAlias("default", collection); outcome != Outcome::done) return outcome;
  if (collection == noPath) return lookForAnyCollection();
  const BusLink::Answer isLocked = readProperty(collection, collectionInterface, "Locked", "b");
  // An alias may outlive its collection.
  if (isLocked.outcome == Outcome::gone) return lookForAnyCollection();
  if (isLocked.outcome != Outcome::done) return isLocked.outcome;
  if (g_variant_get_boolean(isLocked.value.get()) != FALSE) locked.push_back(collection);
  defaultCollection_ = std::move(collection);
  return Outcome::done;
}

Outcome KeychainVisit::lookForAnyCollection() {
  std::string forThisSession;
  if (const Outcome outcome = readAlias("session", forThisSession); outcome != Outcome::done) return outcome;
  const BusLink::Answer answer = readProperty(servicePath, serviceInterface, "Collections", "ao");
  if (answer.outcome != Outcome::done) return answer.outcome;
  // What is kept nowhere but in the daemon's memory is no place that an item could be missing from.
  const std::vector<std::string> collections = pathsIn(answer.value.get());
  const bool isAny =
      std::ranges::any_of(collections, [&](const auto& path) { return path != forThisSession; });
  return isAny ? Outcome::done : Outcome::unavailable;
}

Outcome KeychainVisit::readAlias(const char* alias, std::string& path) {
  const BusLink::Answer answer = link_.ask(errand_, servicePath,
                                           {.interface = serviceInterface,
                                            .method = "ReadAlias",
                                            .arguments = g_variant_new("(s)", alias),
                                            .answerType = "(o)"});
  if (answer.outcome == Outcome::gone) return Outcome::unavailable;
  if (answer.outcome != Outcome::done) return answer.outcome;
  const char* text = nullptr;
  g_variant_get(answer.value.get(), "(&o)", &text);
  path = text;
  return Outcome::done;
}

BusLink::Answer KeychainVisit::readProperty(const std::string& path, const char* interface, const char* name,
                                            const char* type) {
  BusLink::Answer answer = link_.ask(errand_, path,
                                     {.interface = propertiesInterface,
                                      .method = "Get",
                                      .arguments = g_variant_new("(ss)", interface, name),
                                      .answerType = "(v)"});
  if (answer.outcome != Outcome::done) return answer;
  const VariantOwner boxed(g_variant_get_child_value(answer.value.get(), 0));
  answer.value.reset(g_variant_get_variant(boxed.get()));
  if (g_variant_is_of_type(answer.value.get(), G_VARIANT_TYPE(type)) != FALSE) return answer;
  return {.outcome = Outcome::broken, .value = nullptr};
}

}  // namespace quelto::keychain
