#include "platform/call_stack/elf_symbols_signal.h"

#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>

namespace quelto::platform {
namespace {

using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
using Entry = ElfW(Sym);

std::size_t readAt(int file, std::uint64_t offset, std::span<char> out) {
  const ssize_t count = ::pread(file, out.data(), out.size(), static_cast<off_t>(offset));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

template <typename Value>
bool readValue(int file, std::uint64_t offset, Value& value) {
  return readAt(file, offset, {reinterpret_cast<char*>(&value), sizeof value}) == sizeof value;
}

/// The beginning holds the build id too, which tells one build from the next where their headers are the
/// same.
bool isLoadedFrom(int file, const LoadedImage& image) {
  std::array<char, 1024> beginning{};
  return readAt(file, 0, beginning) == beginning.size() &&
         std::memcmp(beginning.data(), image.header, beginning.size()) == 0;
}

/// The first section of a type; absent when there is none.
std::optional<Section> sectionOfType(int file, const Header& header, std::uint32_t type) {
  Section section{};
  for (std::uint64_t index = 0; index < header.e_shnum; ++index) {
    if (!readValue(file, header.e_shoff + index * sizeof section, section)) return std::nullopt;
    if (section.sh_type == type) return section;
  }
  return std::nullopt;
}

bool isFunctionAt(const Entry& entry, std::uintptr_t value) {
  const auto type = ELF64_ST_TYPE(entry.st_info);
  return (type == STT_FUNC || type == STT_GNU_IFUNC) && entry.st_shndx != SHN_UNDEF &&
         value >= entry.st_value && value - entry.st_value < entry.st_size;
}

std::optional<Entry> functionAt(int file, const Section& table, std::uintptr_t value) {
  std::array<Entry, 512> entries{};
  for (std::uint64_t done = 0; done < table.sh_size;) {
    const std::uint64_t wanted = std::min<std::uint64_t>(sizeof entries, table.sh_size - done);
    const std::size_t got =
        readAt(file, table.sh_offset + done, {reinterpret_cast<char*>(entries.data()), wanted});
    const auto* end = entries.begin() + got / sizeof(Entry);
    const auto* found = std::find_if(entries.cbegin(), end,
                                     [value](const Entry& entry) { return isFunctionAt(entry, value); });
    if (found != end) return *found;
    if (got < sizeof(Entry)) return std::nullopt;
    done += got - got % sizeof(Entry);
  }
  return std::nullopt;
}

bool isShown(char character) { return character > ' ' && character <= '~'; }

void readName(int file, std::uint64_t offset, Symbol& symbol) {
  std::array<char, maximumSymbolLength + 1> bytes{};
  const std::string_view read(bytes.data(), readAt(file, offset, bytes));
  const std::size_t end = read.find('\0');
  if (end == std::string_view::npos) return;
  std::string_view name = read.substr(0, end);
  if (const std::size_t suffix = name.find('.', 1); suffix != std::string_view::npos)
    name = name.substr(0, suffix);
  for (const char character : name) symbol.name.append(isShown(character) ? character : '?');
}

}  // namespace

Symbol symbolInFile(int file, const LoadedImage& image, std::uintptr_t address) noexcept {
  Symbol symbol;
  Header header{};
  if (!isLoadedFrom(file, image) || !readValue(file, 0, header) || header.e_shentsize != sizeof(Section)) {
    return symbol;
  }
  auto table = sectionOfType(file, header, SHT_SYMTAB);
  if (!table) table = sectionOfType(file, header, SHT_DYNSYM);
  Section names{};
  if (!table || !readValue(file, header.e_shoff + table->sh_link * sizeof names, names)) return symbol;
  const auto function = functionAt(file, *table, address - image.bias);
  if (!function) return symbol;
  readName(file, names.sh_offset + function->st_name, symbol);
  symbol.offset = address - image.bias - function->st_value;
  return symbol;
}

}  // namespace quelto::platform
