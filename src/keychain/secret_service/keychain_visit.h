#pragma once

#include <string>
#include <vector>

#include "keychain/item_store.h"
#include "keychain/secret_service/bus_link.h"
#include "keychain/secret_service/errand.h"
#include "keychain/secret_service/item_properties.h"

namespace quelto::keychain {

/// One call of `ItemStore`, over a link that has turned to the service. Results are as there, but for the
/// secret, which is the errand's; nothing is written once the errand's time is over.
class KeychainVisit {
 public:
  KeychainVisit(BusLink& link, Errand& errand) : link_(link), errand_(errand) {}
  ~KeychainVisit() { link_.endWriting(); }
  KeychainVisit(const KeychainVisit&) = delete;
  KeychainVisit& operator=(const KeychainVisit&) = delete;

  [[nodiscard]] OSStatus find(const ItemMatch& match, ItemStore::Want want, Item& found);
  [[nodiscard]] OSStatus add(const Item& item, const std::vector<std::string>& identity);
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match, HowMany howMany);
  [[nodiscard]] OSStatus remove(const ItemMatch& match, HowMany howMany);

 private:
  enum class Purpose { reading, changing, adding };

  /// All matches, oldest first. Collections that hold a match or could hold one are open when this is done,
  /// and, unless it is for reading, this process is the one that writes.
  [[nodiscard]] Outcome collect(const ItemMatch& match, Purpose purpose, std::vector<StoredItem>& items);
  /// One look; `locked` gets the collections without which it says nothing.
  [[nodiscard]] Outcome look(const ItemMatch& match, std::vector<StoredItem>& items,
                             std::vector<std::string>& locked);
  [[nodiscard]] Outcome read(const std::vector<std::string>& paths, const ItemMatch& match,
                             std::vector<StoredItem>& items, std::vector<std::string>& locked);
  /// Fills in the default collection; `locked` gets it, too, when it is. Unavailable when there is no
  /// collection at all.
  [[nodiscard]] Outcome lookAtDefaultCollection(std::vector<std::string>& locked);
  [[nodiscard]] Outcome lookForAnyCollection();
  /// The path that has the alias, "/" when none has.
  [[nodiscard]] Outcome readAlias(const char* alias, std::string& path);
  /// A property, of the type asked for; null with another outcome than done.
  [[nodiscard]] BusLink::Answer readProperty(const std::string& path, const char* interface, const char* name,
                                             const char* type);
  /// Sends the request to the first match or to all, passing over those that have gone meanwhile.
  [[nodiscard]] OSStatus changeEach(const std::vector<StoredItem>& items, HowMany howMany,
                                    const BusLink::Request& request);
  [[nodiscard]] Outcome change(const std::string& path, const BusLink::Request& request);

  BusLink& link_;
  Errand& errand_;
  /// Empty when there is none.
  std::string defaultCollection_;
};

}  // namespace quelto::keychain
