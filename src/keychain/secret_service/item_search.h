#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keychain/item_store.h"
#include "keychain/secret_service/item_properties.h"
#include "keychain/secret_service/keyring_service.h"
#include "keychain/secret_service/timed_call.h"
#include "keychain/secret_service/writers_turn.h"

namespace quelto::keychain {

/// Finds items in the keyring, for one call and on its thread. Whatever has to be open for the answer is
/// opened, with the person's help where that is needed. An outcome that is not described is that of the
/// request that failed; what was set until then means nothing.
class ItemSearch {
 public:
  enum class Purpose { reading, changing, adding };

  ItemSearch(KeyringService& keyring, TimedCall& call) : keyring_(keyring), call_(call) {}

  /// Sets `found` to all matches of each, oldest first. Unless it is for reading, nobody else writes from
  /// then on, as long as this lives. `locked` when a collection stays locked that holds a match or,
  /// without any match, could hold one.
  [[nodiscard]] Outcome find(const std::vector<ItemMatch>& matches, Purpose purpose,
                             std::vector<std::vector<StoredItem>>& found);

  /// The path of the collection for new items, after a search that is for adding; empty when there is none.
  [[nodiscard]] const std::string& defaultCollection() const { return defaultCollection_; }

  /// Lets others write again, before a dialog: nobody else waits for the person.
  void endWriting() { turn_.reset(); }

  /// Opens the default collection. `noSuchObject` when there is none that is kept on disk.
  [[nodiscard]] Outcome openDefaultCollection();

 private:
  /// One look. `locked` gets the collections without which it says nothing.
  [[nodiscard]] Outcome look(const ItemMatch& match, std::vector<StoredItem>& found,
                             std::vector<std::string>& locked);
  [[nodiscard]] Outcome read(const std::vector<std::string>& paths, const ItemMatch& match,
                             std::vector<StoredItem>& found, std::vector<std::string>& locked);
  /// `locked` gets the default collection when it is. `noSuchObject` when there is none that is kept on disk.
  [[nodiscard]] Outcome readDefaultCollection(std::vector<std::string>& locked);
  /// `noOwner` when there is no collection that is kept on disk.
  [[nodiscard]] Outcome lookForAnyCollection();
  /// Asks the daemon to open the collections. Done says nothing of what is open now.
  [[nodiscard]] Outcome unlock(const std::vector<std::string>& collections);
  /// The path that has the alias, `noPath` when none has.
  [[nodiscard]] Outcome readAlias(const char* alias, std::string& path);
  /// A property of this type; null with another outcome than done.
  [[nodiscard]] Answer readProperty(const std::string& path, const char* interface, const char* name,
                                    const char* type);
  [[nodiscard]] Answer askService(const char* method, GVariant* arguments, const char* answerType);

  KeyringService& keyring_;
  TimedCall& call_;
  std::optional<WritersTurn> turn_;
  std::string defaultCollection_;
};

}  // namespace quelto::keychain
