#pragma once

#include <utility>

namespace quelto::platform {

/// Owns one descriptor and closes it. Every descriptor that this program opens has exactly one owner; an
/// `int` parameter elsewhere is borrowed for the call.
class UniqueFd {
 public:
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(); }

  /// Closes the descriptor, if one is held; errno is kept.
  void reset() noexcept;

  /// The descriptor, still owned here; -1 when none is held.
  [[nodiscard]] int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace quelto::platform
