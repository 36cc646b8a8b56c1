#pragma once

#include <utility>
#include <variant>

namespace quelto::platform {

/// Why a file or folder could not be had.
enum class FileError {
  /// Nothing has this name.
  absent,
  /// It is not ours alone, a link or of another kind, or cannot be opened.
  refused,
  /// It has more than the limit.
  tooLarge,
  /// The disk is full or failing, or may not be written.
  failed,
};

/// A value, or why there is none.
template <typename Value>
class [[nodiscard]] FileResult {
 public:
  FileResult(Value value) : content_(std::move(value)) {}    // NOLINT(google-explicit-constructor)
  FileResult(FileError error) noexcept : content_(error) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const noexcept { return std::holds_alternative<Value>(content_); }
  /// Only with a value.
  [[nodiscard]] Value& operator*() { return std::get<Value>(content_); }
  [[nodiscard]] const Value& operator*() const { return std::get<Value>(content_); }
  [[nodiscard]] Value* operator->() { return &**this; }
  [[nodiscard]] const Value* operator->() const { return &**this; }
  /// Only without a value.
  [[nodiscard]] FileError error() const { return std::get<FileError>(content_); }
  [[nodiscard]] bool isAbsent() const { return !*this && error() == FileError::absent; }

 private:
  std::variant<Value, FileError> content_;
};

}  // namespace quelto::platform
