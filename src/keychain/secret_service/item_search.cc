#include "keychain/secret_service/item_search.h"

#include <algorithm>
#include <utility>

#include "keychain/secret_service/prompt.h"

namespace quelto::keychain {
namespace {

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

/// Items read at once; a bus bounds how many answers one connection may be waiting for.
constexpr std::size_t batchSize = 100;

/// Notes the collection of a locked item: an item's path is its collection's and one step more.
void noteCollectionOf(const std::string& item, std::vector<std::string>& collections) {
  std::string collection = item.substr(0, item.rfind('/'));
  if (std::ranges::find(collections, collection) == collections.end())
    collections.push_back(std::move(collection));
}

GVariant* pathArray(const std::vector<std::string>& paths) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("ao"));
  for (const std::string& path : paths) g_variant_builder_add(&builder, "o", path.c_str());
  return g_variant_builder_end(&builder);
}

}  // namespace

Outcome ItemSearch::find(const std::vector<ItemMatch>& matches, Purpose purpose,
                         std::vector<std::vector<StoredItem>>& found) {
  for (bool mayUnlock = true;; mayUnlock = false) {
    Outcome outcome = Outcome::done;
    if (purpose != Purpose::reading && !turn_)
      outcome = turn_.emplace(keyring_.bus(), call_.deadline()).outcome();
    found.assign(matches.size(), {});
    std::vector<std::string> locked;
    for (std::size_t index = 0; index < matches.size() && outcome == Outcome::done; ++index)
      outcome = look(matches[index], found[index], locked);
    // Without a match the default collection has to be open for the answer that there is none.
    const bool isAnyMissing = std::ranges::any_of(found, [](const auto& items) { return items.empty(); });
    if (outcome == Outcome::done && locked.empty() && (isAnyMissing || purpose == Purpose::adding)) {
      outcome = readDefaultCollection(locked);
      if (outcome == Outcome::noSuchObject) outcome = lookForAnyCollection();
    }
    if (outcome != Outcome::done) return outcome;
    if (locked.empty()) break;
    if (!mayUnlock) return Outcome::locked;
    // What was found in a collection before it was open has neither label nor attributes: look once more.
    if (outcome = unlock(locked); outcome != Outcome::done) return outcome;
  }
  for (std::vector<StoredItem>& items : found) std::ranges::sort(items, isOlder);
  return Outcome::done;
}

Outcome ItemSearch::openDefaultCollection() {
  std::vector<std::string> locked;
  Outcome outcome = readDefaultCollection(locked);
  if (outcome != Outcome::done || locked.empty()) return outcome;
  outcome = unlock(locked);
  if (outcome != Outcome::done) return outcome;
  locked.clear();
  outcome = readDefaultCollection(locked);
  return outcome == Outcome::done && !locked.empty() ? Outcome::locked : outcome;
}

Outcome ItemSearch::look(const ItemMatch& match, std::vector<StoredItem>& found,
                         std::vector<std::string>& locked) {
  const VariantOwner attributes = lookupAttributesOf(match);
  const Answer answer = askService("SearchItems", g_variant_new("(@a{ss})", attributes.get()), "(aoao)");
  if (answer.outcome != Outcome::done) return answer.outcome;
  const std::vector<std::string> lockedItems = pathsIn(childOf(answer.value, 1));
  for (const std::string& path : lockedItems) noteCollectionOf(path, locked);
  if (!lockedItems.empty()) return Outcome::done;
  return read(pathsIn(childOf(answer.value, 0)), match, found, locked);
}

Outcome ItemSearch::read(const std::vector<std::string>& paths, const ItemMatch& match,
                         std::vector<StoredItem>& found, std::vector<std::string>& locked) {
  const VariantOwner arguments = owned(g_variant_new("(s)", itemInterface));
  for (std::size_t begin = 0; begin < paths.size(); begin += batchSize) {
    std::vector<Request> requests;
    for (std::size_t index = begin; index < std::min(begin + batchSize, paths.size()); ++index) {
      requests.push_back({.path = paths[index],
                          .interface = propertiesInterface,
                          .method = "GetAll",
                          .arguments = VariantOwner(g_variant_ref(arguments.get())),
                          .answerType = "(a{sv})"});
    }
    const std::vector<Answer> answers = keyring_.askAll(requests, call_.deadline());
    for (std::size_t index = 0; index < answers.size(); ++index) {
      if (answers[index].outcome == Outcome::noSuchObject) continue;
      if (answers[index].outcome != Outcome::done) return answers[index].outcome;
      auto item = storedItemOf(requests[index].path, childOf(answers[index].value, 0).get());
      if (!item) continue;
      if (item->isLocked) {
        noteCollectionOf(item->path, locked);
      } else if (fulfils(*item, match)) {
        // A keyring that matches more than asked for (in any case, say) loses it here.
        found.push_back(*std::move(item));
      }
    }
  }
  return Outcome::done;
}

Outcome ItemSearch::readDefaultCollection(std::vector<std::string>& locked) {
  defaultCollection_.clear();
  std::string collection;
  if (const Outcome outcome = readAlias("default", collection); outcome != Outcome::done) return outcome;
  // What is added to a collection that is kept nowhere but in the daemon's memory is lost with the daemon.
  std::string forThisSession;
  const bool isLasting =
      readAlias("session", forThisSession) != Outcome::done || collection != forThisSession;
  if (collection == noPath || !isLasting) return Outcome::noSuchObject;
  // An alias may outlive its collection.
  const Answer isLocked = readProperty(collection, collectionInterface, "Locked", "b");
  if (isLocked.outcome != Outcome::done) return isLocked.outcome;
  if (g_variant_get_boolean(isLocked.value.get()) != FALSE) locked.push_back(collection);
  defaultCollection_ = std::move(collection);
  return Outcome::done;
}

Outcome ItemSearch::lookForAnyCollection() {
  std::string forThisSession;
  if (const Outcome outcome = readAlias("session", forThisSession); outcome != Outcome::done) return outcome;
  const Answer answer = readProperty(servicePath, serviceInterface, "Collections", "ao");
  if (answer.outcome != Outcome::done) return answer.outcome;
  // Nothing can be missing from a collection that is kept nowhere but in the daemon's memory.
  const std::vector<std::string> collections = pathsIn(answer.value);
  const bool isAny =
      std::ranges::any_of(collections, [&](const auto& path) { return path != forThisSession; });
  return isAny ? Outcome::done : Outcome::noOwner;
}

Outcome ItemSearch::unlock(const std::vector<std::string>& collections) {
  const Answer answer = askService("Unlock", g_variant_new("(@ao)", pathArray(collections)), "(aoo)");
  if (answer.outcome != Outcome::done) return answer.outcome;
  const std::string prompt = textOf(answer.value, 1);
  if (prompt != noPath) endWriting();
  return showPrompt(keyring_, call_, prompt).outcome;
}

Outcome ItemSearch::readAlias(const char* alias, std::string& path) {
  const Answer answer = askService("ReadAlias", g_variant_new("(s)", alias), "(o)");
  if (answer.outcome == Outcome::done) path = textOf(answer.value, 0);
  return answer.outcome;
}

Answer ItemSearch::readProperty(const std::string& path, const char* interface, const char* name,
                                const char* type) {
  Answer answer = keyring_.ask({.path = path,
                                .interface = propertiesInterface,
                                .method = "Get",
                                .arguments = owned(g_variant_new("(ss)", interface, name)),
                                .answerType = "(v)"},
                               call_.deadline());
  if (answer.outcome != Outcome::done) return answer;
  answer.value.reset(g_variant_get_variant(childOf(answer.value, 0).get()));
  if (g_variant_is_of_type(answer.value.get(), G_VARIANT_TYPE(type)) != FALSE) return answer;
  return {.outcome = Outcome::failed, .value = nullptr};
}

Answer ItemSearch::askService(const char* method, GVariant* arguments, const char* answerType) {
  Answer answer = keyring_.ask({.path = servicePath,
                                .interface = serviceInterface,
                                .method = method,
                                .arguments = owned(arguments),
                                .answerType = answerType},
                               call_.deadline());
  // The daemon has the name, but does not serve yet, or is no keyring.
  if (answer.outcome == Outcome::noSuchObject) answer.outcome = Outcome::noAnswer;
  return answer;
}

}  // namespace quelto::keychain
