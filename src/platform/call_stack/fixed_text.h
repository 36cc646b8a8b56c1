#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <string_view>

namespace quelto::platform {

/// A text of bounded length that takes no memory from the heap. What is over the bound is left out.
/// Signal-safe.
template <std::size_t Capacity>
class FixedText {
 public:
  [[nodiscard]] constexpr std::string_view view() const noexcept { return {bytes_.data(), size_}; }
  // NOLINTNEXTLINE(google-explicit-constructor): it is a text
  constexpr operator std::string_view() const noexcept { return view(); }
  [[nodiscard]] constexpr std::size_t size() const noexcept { return size_; }
  [[nodiscard]] constexpr std::size_t room() const noexcept { return Capacity - size_; }
  constexpr void clear() noexcept { size_ = 0; }
  constexpr void shorten(std::size_t size) noexcept { size_ = std::min(size, size_); }

  constexpr FixedText& append(std::string_view text) noexcept {
    const std::size_t count = std::min(text.size(), room());
    std::copy_n(text.data(), count, bytes_.data() + size_);
    size_ += count;
    return *this;
  }
  constexpr FixedText& append(char character) noexcept { return append(std::string_view(&character, 1)); }

  /// In base 10 or 16, with leading zeros up to `digits`.
  constexpr FixedText& appendNumber(std::unsigned_integral auto number, std::size_t digits = 1,
                                    unsigned base = 10) noexcept {
    std::array<char, 20> reversed{};
    std::size_t count = 0;
    for (; count < reversed.size() && (number != 0 || count < digits); ++count) {
      reversed[count] = "0123456789abcdef"[number % base];
      number = static_cast<decltype(number)>(number / base);
    }
    while (count > 0) append(reversed[--count]);
    return *this;
  }

  /// Fills up with blanks to this size.
  constexpr FixedText& padTo(std::size_t size) noexcept {
    while (size_ < size && room() > 0) append(' ');
    return *this;
  }

 private:
  std::array<char, Capacity> bytes_{};
  std::size_t size_ = 0;
};

}  // namespace quelto::platform
