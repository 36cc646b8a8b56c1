#pragma once

#include <cstdint>

#include "platform/call_stack/symbol_name_signal.h"

namespace quelto::platform {

/// The function that an address lies in.
struct Symbol {
  /// As the linker knows it, of printable ASCII without blanks, without the suffixes that compilers add to
  /// the parts of a function (".cold"). Empty: not known.
  FixedText<maximumSymbolLength> name;
  /// From the function's begin, in bytes.
  std::uintptr_t offset = 0;
};

/// Where an ELF file (System V ABI) is loaded in this process.
struct LoadedImage {
  const void* header;
  /// What was added to the addresses in the file.
  std::uintptr_t bias;
};

/// Looks an address up in the symbol table of an image's file, or in the table of its dynamic symbols when
/// that is all it has. No name when the file is not the one that was loaded, or is damaged. The file is read,
/// never mapped: it may be cut off meanwhile. The descriptor is borrowed. Signal-safe.
[[nodiscard]] Symbol symbolInFile(int file, const LoadedImage& image, std::uintptr_t address) noexcept;

}  // namespace quelto::platform
