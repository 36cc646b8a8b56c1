#include "keychain/item_dictionary.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "keychain/sec_key.h"

namespace quelto::keychain {
namespace {

constexpr std::array keyTypes{kSecAttrKeyTypeRSA};
constexpr std::array keyClasses{kSecAttrKeyClassPublic, kSecAttrKeyClassPrivate};

enum class ValueType { text, number, flag, bytes, constant };

constexpr unsigned bitOf(ItemClass itemClass) { return 1U << static_cast<unsigned>(itemClass); }
constexpr unsigned generic = bitOf(ItemClass::genericPassword);
constexpr unsigned internet = bitOf(ItemClass::internetPassword);
constexpr unsigned key = bitOf(ItemClass::key);

/// An attribute that items are stored and found by; its name is that of its key.
struct AttributeRow {
  SecDictionaryKey name;
  ValueType type;
  unsigned classes;
  std::span<const SecConstant> constants{};
};

constexpr std::array attributeRows{
    AttributeRow{kSecAttrAccount, ValueType::text, generic | internet},
    AttributeRow{kSecAttrService, ValueType::text, generic},
    AttributeRow{kSecAttrGeneric, ValueType::text, generic},
    AttributeRow{kSecAttrType, ValueType::number, generic | internet},
    AttributeRow{kSecAttrServer, ValueType::text, internet},
    AttributeRow{kSecAttrPort, ValueType::number, internet},
    AttributeRow{kSecAttrProtocol, ValueType::text, internet},
    AttributeRow{kSecAttrPath, ValueType::text, internet},
    AttributeRow{kSecAttrSecurityDomain, ValueType::text, internet},
    AttributeRow{kSecAttrAuthenticationType, ValueType::text, internet},
    AttributeRow{kSecAttrLabel, ValueType::text, generic | internet | key},
    AttributeRow{kSecAttrComment, ValueType::text, generic | internet},
    AttributeRow{kSecAttrDescription, ValueType::text, generic | internet},
    AttributeRow{kSecAttrKeyType, ValueType::constant, key, keyTypes},
    AttributeRow{kSecAttrKeyClass, ValueType::constant, key, keyClasses},
    AttributeRow{kSecAttrKeySizeInBits, ValueType::number, key},
    AttributeRow{kSecAttrEffectiveKeySize, ValueType::number, key},
    AttributeRow{kSecAttrApplicationTag, ValueType::bytes, key},
    AttributeRow{kSecAttrApplicationLabel, ValueType::text, key},
    AttributeRow{kSecAttrIsPermanent, ValueType::flag, key},
    AttributeRow{kSecAttrCanDerive, ValueType::flag, key},
    AttributeRow{kSecAttrCanWrap, ValueType::flag, key},
    AttributeRow{kSecAttrCanUnwrap, ValueType::flag, key},
    AttributeRow{kSecAttrCanEncrypt, ValueType::flag, key},
    AttributeRow{kSecAttrCanDecrypt, ValueType::flag, key},
    AttributeRow{kSecAttrCanVerify, ValueType::flag, key},
    AttributeRow{kSecAttrCanSign, ValueType::flag, key},
};

struct ClassRow {
  ItemClass itemClass;
  SecConstant constant;
};
constexpr std::array classRows{
    ClassRow{ItemClass::genericPassword, kSecClassGenericPassword},
    ClassRow{ItemClass::internetPassword, kSecClassInternetPassword},
    ClassRow{ItemClass::key, kSecClassKey},
};

std::optional<ItemClass> classOf(const SecDictionary& dictionary) {
  const auto* constant = dictionary.find<SecConstant>(kSecClass);
  if (constant == nullptr) return std::nullopt;
  const auto row = std::ranges::find(classRows, *constant, &ClassRow::constant);
  return row != classRows.end() ? std::optional(row->itemClass) : std::nullopt;
}

/// Null when the class does not have the attribute.
const AttributeRow* rowOf(SecDictionaryKey name, ItemClass itemClass) {
  const auto row = std::ranges::find(attributeRows, name, &AttributeRow::name);
  return row != attributeRows.end() && (row->classes & bitOf(itemClass)) != 0 ? &*row : nullptr;
}

/// The text that a place keeps for a value; absent when the value is not of the row's type.
std::optional<std::string> storedText(const AttributeRow& row, const SecValue& value) {
  switch (row.type) {
    case ValueType::text:
      if (const auto* text = std::get_if<std::string>(&value)) return *text;
      break;
    case ValueType::number:
      if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
      break;
    case ValueType::flag:
      if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
      break;
    case ValueType::bytes:
      if (const auto* data = std::get_if<SecData>(&value); data != nullptr && *data != nullptr) {
        return std::string((*data)->view());
      }
      break;
    case ValueType::constant:
      if (const auto* constant = std::get_if<SecConstant>(&value);
          constant != nullptr && std::ranges::find(row.constants, *constant) != row.constants.end()) {
        return std::string(constant->name);
      }
      break;
  }
  return std::nullopt;
}

/// The value that a place keeps as this text; absent when the text is not of the row's type.
std::optional<SecValue> valueOf(const AttributeRow& row, const std::string& text) {
  switch (row.type) {
    case ValueType::text:
      return text;
    case ValueType::number: {
      std::int64_t number = 0;
      const char* const end = text.data() + text.size();
      const auto [at, error] = std::from_chars(text.data(), end, number);
      if (error == std::errc() && at == end) return number;
      break;
    }
    case ValueType::flag:
      if (text == "true" || text == "false") return text == "true";
      break;
    case ValueType::bytes:
      return std::make_shared<const platform::Secret>(text);
    case ValueType::constant: {
      const auto constant = std::ranges::find(row.constants, text, &SecConstant::name);
      if (constant != row.constants.end()) return *constant;
      break;
    }
  }
  return std::nullopt;
}

/// Puts the entry into `attributes`; false when it is not an attribute of the class.
bool takeAttribute(const SecDictionary::Entry& entry, ItemClass itemClass, Attributes& attributes) {
  const AttributeRow* row = rowOf(entry.first, itemClass);
  auto text = row != nullptr ? storedText(*row, entry.second) : std::nullopt;
  if (!text) return false;
  attributes.insert_or_assign(std::string(entry.first), std::move(*text));
  return true;
}

/// The switch of the query that the key names; null for another key.
bool* switchOf(ItemQuery& query, SecDictionaryKey name) {
  if (name == kSecReturnData) return &query.returnsData;
  if (name == kSecReturnAttributes) return &query.returnsAttributes;
  if (name == kSecReturnRef) return &query.returnsReference;
  return nullptr;
}

bool takeControl(const SecDictionary::Entry& entry, ItemQuery& query) {
  const auto& [name, value] = entry;
  if (name == kSecClass) return true;
  if (name == kSecMatchLimit) {
    query.isLimitedToOne = true;
    const auto* limit = std::get_if<SecConstant>(&value);
    return limit != nullptr && *limit == kSecMatchLimitOne;
  }
  bool* const wanted = switchOf(query, name);
  const auto* flag = std::get_if<bool>(&value);
  if (wanted == nullptr || flag == nullptr) return false;
  *wanted = *flag;
  return true;
}

/// Kept with the item under names that no query can ask for.
bool takeAccess(const SecValue& value, Attributes& attributes) {
  const auto* access = std::get_if<SecAccessRef>(&value);
  if (access == nullptr || *access == nullptr) return false;
  attributes["access_name"] = (*access)->descriptor;
  std::size_t number = 0;
  for (const std::string& path : (*access)->applicationPaths) {
    attributes["access_path_" + std::to_string(++number)] = path;
  }
  return true;
}

/// Absent unless the value is data.
std::optional<platform::Secret> dataOf(const SecValue& value) {
  const auto* data = std::get_if<SecData>(&value);
  if (data == nullptr || *data == nullptr) return std::nullopt;
  return (*data)->copy();
}

using DictionaryRef = std::shared_ptr<const SecDictionary>;

/// Takes the attributes of one half; false unless they make it permanent and name its class.
bool takeHalf(const SecDictionary& pair, SecDictionaryKey name, SecConstant keyClass, Item& half) {
  const auto* attributes = pair.find<DictionaryRef>(name);
  if (attributes == nullptr || *attributes == nullptr) return false;
  for (const auto& entry : **attributes) {
    if (!takeAttribute(entry, ItemClass::key, half.attributes)) return false;
  }
  const auto has = [&half](SecDictionaryKey attribute, std::string_view value) {
    const auto found = half.attributes.find(attribute);
    return found != half.attributes.end() && found->second == value;
  };
  return has(kSecAttrIsPermanent, "true") && has(kSecAttrKeyClass, keyClass.name);
}

}  // namespace

std::optional<ItemQuery> queryOf(const SecDictionary& dictionary) {
  const auto itemClass = classOf(dictionary);
  if (!itemClass) return std::nullopt;
  ItemQuery query{.match = {.itemClass = *itemClass, .attributes = {}}};
  for (const auto& entry : dictionary) {
    if (!takeControl(entry, query) && !takeAttribute(entry, *itemClass, query.match.attributes))
      return std::nullopt;
  }
  return query;
}

std::optional<Item> newItemOf(const SecDictionary& dictionary) {
  const auto itemClass = classOf(dictionary);
  const auto* value = dictionary.find(kSecValueData);
  auto data = value != nullptr ? dataOf(*value) : std::nullopt;
  if (!itemClass || *itemClass == ItemClass::key || !data) return std::nullopt;
  Item item{.itemClass = *itemClass, .attributes = {}, .secret = std::move(*data)};
  for (const auto& entry : dictionary) {
    if (entry.first == kSecClass || entry.first == kSecValueData) continue;
    if (entry.first == kSecAttrAccess ? !takeAccess(entry.second, item.attributes)
                                      : !takeAttribute(entry, *itemClass, item.attributes)) {
      return std::nullopt;
    }
  }
  return item;
}

std::optional<platform::Secret> newDataOf(const SecDictionary& changes) {
  const auto* value = changes.find(kSecValueData);
  if (value == nullptr || changes.size() != 1) return std::nullopt;
  return dataOf(*value);
}

std::optional<NewKeyPair> newKeyPairOf(const SecDictionary& dictionary) {
  Attributes shared;
  for (const auto& entry : dictionary) {
    const SecDictionaryKey name = entry.first;
    if (name == kSecClass || name == kSecPrivateKeyAttrs || name == kSecPublicKeyAttrs) continue;
    if (name == kSecAttrAccess ? !takeAccess(entry.second, shared)
                               : !takeAttribute(entry, ItemClass::key, shared)) {
      return std::nullopt;
    }
  }
  const auto* bits = dictionary.find<std::int64_t>(kSecAttrKeySizeInBits);
  if (classOf(dictionary) != ItemClass::key || !shared.contains(kSecAttrKeyType) || bits == nullptr ||
      *bits < minimumKeySize || *bits > maximumKeySize) {
    return std::nullopt;
  }
  NewKeyPair pair{.bits = static_cast<unsigned>(*bits),
                  .privateKey = {.itemClass = ItemClass::key, .attributes = shared, .secret = {}},
                  .publicKey = {.itemClass = ItemClass::key, .attributes = shared, .secret = {}}};
  const bool isWhole = takeHalf(dictionary, kSecPrivateKeyAttrs, kSecAttrKeyClassPrivate, pair.privateKey) &&
                       takeHalf(dictionary, kSecPublicKeyAttrs, kSecAttrKeyClassPublic, pair.publicKey);
  return isWhole ? std::optional(std::move(pair)) : std::nullopt;
}

SecDictionary dictionaryOf(const Item& item) {
  const auto classRow = std::ranges::find(classRows, item.itemClass, &ClassRow::itemClass);
  SecDictionary dictionary{{kSecClass, classRow->constant}};
  for (const AttributeRow& row : attributeRows) {
    const auto attribute = item.attributes.find(row.name);
    if (attribute == item.attributes.end() || (row.classes & bitOf(item.itemClass)) == 0) continue;
    if (auto value = valueOf(row, attribute->second)) dictionary.set(row.name, std::move(*value));
  }
  return dictionary;
}

}  // namespace quelto::keychain
