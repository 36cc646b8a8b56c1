#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "keychain/item_store.h"

namespace quelto::keychain::embedded {

/// Attributes as bytes: for each, in the order of the names, the name and the value, each after its length (4
/// bytes, big-endian). Equal attributes give equal bytes and different ones different bytes, so that a secret
/// can be bound to them. Throws Failure, errSecParam, for a text of 4 GiB or more.
[[nodiscard]] std::string bytesOf(const Attributes& attributes);

/// Absent for bytes that `bytesOf` does not make.
[[nodiscard]] std::optional<Attributes> attributesFrom(std::string_view bytes);

/// The first 64 bits of the SHA-256 (FIPS 180-4) of the values that these names have, each after its length;
/// the value of a name that is missing counts as empty. Throws Failure, errSecIO.
[[nodiscard]] std::int64_t hashOfValues(const Attributes& names, const Attributes& attributes);

/// The value, or an empty one when there is none.
[[nodiscard]] std::string_view valueOrEmpty(const Attributes& attributes, std::string_view name);

}  // namespace quelto::keychain::embedded
