#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/secrets/secret.h"

/// The dictionaries that describe keychain items, in queries, additions and results.
namespace quelto::keychain {

/// A key of a dictionary.
using SecDictionaryKey = std::string_view;

/// A value that is one of the keychain's constants.
struct SecConstant {
  std::string_view name;
  friend bool operator==(const SecConstant&, const SecConstant&) = default;
};

/// The name and the paths of an item's access list. Kept with the item; nothing on this system enforces it.
struct SecAccess {
  std::string descriptor;
  std::vector<std::string> applicationPaths;
};

class SecDictionary;
class SecKey;

using SecData = std::shared_ptr<const platform::Secret>;
using SecAccessRef = std::shared_ptr<const SecAccess>;
using SecKeyRef = std::shared_ptr<const SecKey>;

using SecValue = std::variant<std::string, std::int64_t, bool, SecConstant, SecData, SecAccessRef, SecKeyRef,
                              std::shared_ptr<const SecDictionary>>;

/// Typed values by key, in the order in which the keys were first set.
class SecDictionary {
 public:
  using Entry = std::pair<SecDictionaryKey, SecValue>;

  SecDictionary() = default;
  SecDictionary(std::initializer_list<Entry> entries) : entries_(entries) {}

  /// Sets or replaces a value. The key must live as long as the dictionary, as the constants below do.
  void set(SecDictionaryKey key, SecValue value);
  /// Does nothing when the key is not there.
  void remove(SecDictionaryKey key);

  /// Null when the key is not there.
  [[nodiscard]] const SecValue* find(SecDictionaryKey key) const;
  /// Null when the key is not there or its value is of another type.
  template <typename Type>
  [[nodiscard]] const Type* find(SecDictionaryKey key) const {
    const SecValue* value = find(key);
    return value != nullptr ? std::get_if<Type>(value) : nullptr;
  }

  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] auto begin() const { return entries_.begin(); }
  [[nodiscard]] auto end() const { return entries_.end(); }

 private:
  std::vector<Entry> entries_;
};

inline constexpr SecDictionaryKey kSecClass = "class";
inline constexpr SecConstant kSecClassGenericPassword{"genp"};
inline constexpr SecConstant kSecClassInternetPassword{"inet"};
inline constexpr SecConstant kSecClassKey{"keys"};

inline constexpr SecDictionaryKey kSecAttrAccount = "account";
inline constexpr SecDictionaryKey kSecAttrService = "service";
inline constexpr SecDictionaryKey kSecAttrGeneric = "generic";
inline constexpr SecDictionaryKey kSecAttrType = "type";
inline constexpr SecDictionaryKey kSecAttrLabel = "label";
inline constexpr SecDictionaryKey kSecAttrComment = "comment";
inline constexpr SecDictionaryKey kSecAttrDescription = "description";
inline constexpr SecDictionaryKey kSecAttrServer = "server";
inline constexpr SecDictionaryKey kSecAttrPort = "port";
inline constexpr SecDictionaryKey kSecAttrProtocol = "protocol";
inline constexpr SecDictionaryKey kSecAttrPath = "path";
inline constexpr SecDictionaryKey kSecAttrSecurityDomain = "domain";
inline constexpr SecDictionaryKey kSecAttrAuthenticationType = "authtype";
inline constexpr SecDictionaryKey kSecAttrAccess = "access";

inline constexpr SecDictionaryKey kSecAttrKeyType = "keytype";
inline constexpr SecConstant kSecAttrKeyTypeRSA{"rsa"};
inline constexpr SecDictionaryKey kSecAttrKeyClass = "keyclass";
inline constexpr SecConstant kSecAttrKeyClassPublic{"public"};
inline constexpr SecConstant kSecAttrKeyClassPrivate{"private"};
inline constexpr SecDictionaryKey kSecAttrKeySizeInBits = "bits";
inline constexpr SecDictionaryKey kSecAttrEffectiveKeySize = "effectivebits";
inline constexpr SecDictionaryKey kSecAttrApplicationTag = "tag";
inline constexpr SecDictionaryKey kSecAttrApplicationLabel = "applabel";
inline constexpr SecDictionaryKey kSecAttrIsPermanent = "permanent";
inline constexpr SecDictionaryKey kSecAttrCanDerive = "derive";
inline constexpr SecDictionaryKey kSecAttrCanWrap = "wrap";
inline constexpr SecDictionaryKey kSecAttrCanUnwrap = "unwrap";
inline constexpr SecDictionaryKey kSecAttrCanEncrypt = "encrypt";
inline constexpr SecDictionaryKey kSecAttrCanDecrypt = "decrypt";
inline constexpr SecDictionaryKey kSecAttrCanVerify = "verify";
inline constexpr SecDictionaryKey kSecAttrCanSign = "sign";
inline constexpr SecDictionaryKey kSecPrivateKeyAttrs = "privatekeyattrs";
inline constexpr SecDictionaryKey kSecPublicKeyAttrs = "publickeyattrs";

inline constexpr SecDictionaryKey kSecValueData = "data";
inline constexpr SecDictionaryKey kSecReturnData = "returndata";
inline constexpr SecDictionaryKey kSecReturnAttributes = "returnattributes";
inline constexpr SecDictionaryKey kSecReturnRef = "returnref";
inline constexpr SecDictionaryKey kSecMatchLimit = "matchlimit";
inline constexpr SecConstant kSecMatchLimitOne{"one"};

inline constexpr bool kCFBooleanTrue = true;

}  // namespace quelto::keychain
