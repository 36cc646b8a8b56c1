#pragma once

#include <cstddef>
#include <string_view>

/// Whether a property list that somebody else made is small enough to be read. In a binary one a few hundred
/// bytes that refer to each other can unfold to more values than there is memory for, since a reader makes a
/// value of its own for every reference: so the references are followed and counted first.
namespace quelto::platform {

inline constexpr std::size_t maximumPropertyListSize = std::size_t{64} << 10U;
inline constexpr std::size_t maximumPropertyListDepth = 32;
inline constexpr std::size_t maximumPropertyListNodes = 10'000;
/// The bytes of all texts and data, counted at every place that they have.
inline constexpr std::size_t maximumPropertyListPayload = std::size_t{1} << 20U;

/// False also for bytes in neither form. True says nothing else about whether the list is well-formed.
[[nodiscard]] bool isSmallPropertyList(std::string_view bytes);

}  // namespace quelto::platform
