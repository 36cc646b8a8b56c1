#pragma once

#include <exception>
#include <utility>

#include "keychain/os_status.h"
#include "platform/files/file_result.h"

namespace quelto::keychain::embedded {

/// How a failure travels inside this folder: thrown where it is seen, so that every owner on the way gives
/// back what it holds. `EmbeddedKeychain` catches it and answers with its status; none leaves the folder.
class Failure final : public std::exception {
 public:
  explicit Failure(OSStatus status) noexcept : status_(status) {}
  [[nodiscard]] OSStatus status() const noexcept { return status_; }
  [[nodiscard]] const char* what() const noexcept override { return "keychain failure"; }

 private:
  OSStatus status_;
};

/// The value; without one, the failure of a file that has to be there.
template <typename Value>
[[nodiscard]] Value valueOrThrow(platform::FileResult<Value> result) {
  if (!result) throw Failure(result.error() == platform::FileError::failed ? errSecIO : errSecNotAvailable);
  return std::move(*result);
}

}  // namespace quelto::keychain::embedded
