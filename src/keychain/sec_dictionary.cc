#include "keychain/sec_dictionary.h"

#include <algorithm>

namespace quelto::keychain {

void SecDictionary::set(SecDictionaryKey key, SecValue value) {
  const auto entry = std::ranges::find(entries_, key, &Entry::first);
  if (entry == entries_.end()) {
    entries_.emplace_back(key, std::move(value));
  } else {
    entry->second = std::move(value);
  }
}

void SecDictionary::remove(SecDictionaryKey key) {
  std::erase_if(entries_, [key](const Entry& entry) { return entry.first == key; });
}

const SecValue* SecDictionary::find(SecDictionaryKey key) const {
  const auto entry = std::ranges::find(entries_, key, &Entry::first);
  return entry != entries_.end() ? &entry->second : nullptr;
}

}  // namespace quelto::keychain
