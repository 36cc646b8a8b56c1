#pragma once

#include <exception>

#include "keychain/os_status.h"

namespace quelto::keychain {

/// How a failure travels inside the keychain: thrown where it is seen, so that every owner on the way gives
/// back what it holds, and answered as its status by whoever is called from outside. None leaves the
/// keychain.
class Failure final : public std::exception {
 public:
  explicit Failure(OSStatus status) noexcept : status_(status) {}
  [[nodiscard]] OSStatus status() const noexcept { return status_; }
  [[nodiscard]] const char* what() const noexcept override { return "keychain failure"; }

 private:
  OSStatus status_;
};

}  // namespace quelto::keychain
