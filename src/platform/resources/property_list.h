#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace quelto::platform {

using PropertyListValue = std::variant<std::string, std::uint64_t>;
using PropertyListDictionary = std::map<std::string, PropertyListValue, std::less<>>;

/// The texts and unsigned numbers of a property list, XML or binary, whose root is a dictionary; values of
/// other types are left out. Absent for any other content, whatever its bytes, and when the property-list
/// module is missing. Opens that module on first use; thread-safe.
[[nodiscard]] std::optional<PropertyListDictionary> parsePropertyList(std::string_view bytes);

/// The dictionary as a binary property list. Texts must be UTF-8 without NUL. Empty when the module is
/// missing.
[[nodiscard]] std::string binaryPropertyList(const PropertyListDictionary& dictionary);

/// The text under a key; absent when the key is missing or its value is no text.
[[nodiscard]] std::optional<std::string> textAt(const PropertyListDictionary& dictionary,
                                                std::string_view key);

/// The number under a key; absent when the key is missing or its value is no number.
[[nodiscard]] std::optional<std::uint64_t> numberAt(const PropertyListDictionary& dictionary,
                                                    std::string_view key);

}  // namespace quelto::platform
