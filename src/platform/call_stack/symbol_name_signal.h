#pragma once

#include <cstddef>
#include <string_view>

#include "platform/call_stack/fixed_text.h"

namespace quelto::platform {

/// Longer symbols are not taken apart: the demangler's stack grows with them.
inline constexpr std::size_t maximumSymbolLength = 1023;

/// A function's name as it is shown.
using SymbolName = FixedText<4095>;

/// The readable form of a mangled C++ name (Itanium C++ ABI): scopes joined by ".", as "quelto.ui.failWith("
/// for "quelto::ui::failWith(". Inside brackets "::" stays, and behind
/// the function's name, as in a lambda's and in the type that a conversion is named by. Unnamed namespaces
/// and a template's return type are left out. Before the parameters no blank is left, so that the first word
/// holds the whole name: "operator bool" becomes "operator_bool", "f<int, char const*>" becomes
/// "f<int,char_const*>". A name that is not mangled, is over the limit or cannot be taken apart is returned
/// as it is. Signal-safe.
[[nodiscard]] SymbolName _stdlib_demangleName(std::string_view name) noexcept;

}  // namespace quelto::platform
