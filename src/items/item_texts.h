#pragma once

#include <string>

/// Texts that name this program in the items that it keeps. Each is made on first use, in the language of
/// that moment, and kept for the life of the process. Thread-safe.
namespace quelto::items {

/// The program's title.
[[nodiscard]] const std::string& appTitle();

/// What the label of every item begins with.
[[nodiscard]] const std::string& keychainPrefix();

}  // namespace quelto::items
