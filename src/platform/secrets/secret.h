#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quelto::platform {

/// Bytes that must not stay in memory: every buffer that held them is overwritten before it is freed. Any
/// bytes, NUL included. Copies are explicit, so that none is made by accident.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view bytes) : bytes_(bytes.begin(), bytes.end()) {}
  Secret(Secret&& other) noexcept : bytes_(std::move(other.bytes_)) { other.bytes_.clear(); }
  Secret& operator=(Secret&& other) noexcept;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  ~Secret() { wipe(); }

  [[nodiscard]] Secret copy() const { return Secret(view()); }

  /// Valid until this object changes; copies of it are the caller's to wipe.
  [[nodiscard]] std::string_view view() const { return {bytes_.data(), bytes_.size()}; }
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }

  /// A buffer of exactly this size, for a library to write into.
  [[nodiscard]] static Secret ofSize(std::size_t size);
  [[nodiscard]] char* data() { return bytes_.data(); }
  /// Cuts off the end; never grows.
  void shrink(std::size_t size);

 private:
  void wipe() noexcept;

  std::vector<char> bytes_;
};

}  // namespace quelto::platform
