#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "keychain/item_store.h"

namespace quelto::keychain::embedded {

/// Attributes as bytes: for each, in the order of the names, the name and the value, each after its length (4
/// bytes, big-endian). Equal attributes give equal bytes and different ones different bytes, so that a secret
/// can be bound to them. Throws Failure, errSecParam, for a text of 4 GiB or more.
[[nodiscard]] std::string bytesOf(const Attributes& attributes);

/// Names and values in the order of the names. They are borrowed from the bytes that they were read from.
using AttributeViews = std::vector<std::pair<std::string_view, std::string_view>>;

/// False for bytes that `bytesOf` does not make.
[[nodiscard]] bool readAttributes(std::string_view bytes, AttributeViews& attributes);

}  // namespace quelto::keychain::embedded
