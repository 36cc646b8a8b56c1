#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "ini/ini_parser.h"
#include "items/four_char_code.h"
#include "keychain/sec_dictionary.h"

/// What is known of an item, without its secret. An absent field is part neither of the item nor of a search
/// for it.
namespace quelto::items {

struct GeneralPassword {
  std::optional<std::string> account;
  std::optional<std::string> service;
  std::optional<std::string> generic;
  std::optional<std::string> label;
  std::optional<std::string> description;
  std::optional<std::string> comment;

  [[nodiscard]] keychain::SecDictionary buildMatchDicton() const;
};

struct InternetPassword {
  std::optional<std::string> account;
  std::optional<std::string> server;
  std::optional<std::uint16_t> port;
  /// A zero code matches like an absent one.
  std::optional<SecProtocolType> scheme;
  std::optional<std::string> path;
  std::optional<SecAuthenticationType> auth;
  std::optional<std::string> domain;
  std::optional<std::string> label;
  std::optional<std::string> description;
  std::optional<std::string> comment;

  [[nodiscard]] keychain::SecDictionary buildMatchDicton() const;
};

/// A generic password with a type and a description of its own.
struct SecureNote {
  std::optional<std::string> account;
  std::optional<std::string> name;
  std::optional<std::string> generic;
  std::optional<std::string> label;
  std::optional<std::string> comment;

  /// The characters "note", the first one in the highest byte.
  static constexpr std::int64_t type = 0x6E6F7465;
  static constexpr std::string_view description = "secure note";

  [[nodiscard]] keychain::SecDictionary buildMatchDicton() const;
};

using SecPasswordStruct = std::variant<GeneralPassword, InternetPassword, SecureNote>;

/// The query for the items that have all of the record's fields. Thread-safe.
[[nodiscard]] keychain::SecDictionary buildMatchDicton(const SecPasswordStruct& record);

/// An item's section in the password file, up to its password and times: its keys, in the order in which they
/// are written, with the record's fields. An absent text is the empty text, an absent port "0", an absent
/// code four NULs. Thread-safe.
[[nodiscard]] ini::IniSection entryOf(const SecPasswordStruct& record);

}  // namespace quelto::items
