#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Protocols and authentication types have codes of four bytes, written as four characters. The two kinds
/// pack the bytes in opposite orders. 0 means no code. All functions are thread-safe.
namespace quelto::items {

/// "ssh " is 0x73736820: the first character is the highest byte.
enum class SecProtocolType : std::uint32_t {};

/// "dflt" is 0x746C6664: the first character is the lowest byte.
enum class SecAuthenticationType : std::uint32_t {};

/// Absent unless the name is exactly four ASCII characters as a person counts them: CR LF is one.
[[nodiscard]] std::optional<SecProtocolType> createSecProtocolType(std::optional<std::string_view> name);
[[nodiscard]] std::optional<SecAuthenticationType> createSecAuthenticationType(
    std::optional<std::string_view> name);

/// Four characters in UTF-8, U+0000 to U+00FF, one for each byte of the code.
[[nodiscard]] std::string fourCharString(SecProtocolType secProtocol);
[[nodiscard]] std::string fourCharString(SecAuthenticationType secAuthType);

}  // namespace quelto::items
