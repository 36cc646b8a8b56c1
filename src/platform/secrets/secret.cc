#include "platform/secrets/secret.h"

#include <string.h>

#include <utility>

namespace quelto::platform {

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this != &other) {
    wipe();
    bytes_ = std::exchange(other.bytes_, {});
  }
  return *this;
}

Secret Secret::ofSize(std::size_t size) {
  Secret secret;
  secret.bytes_.resize(size);
  return secret;
}

void Secret::shrink(std::size_t size) {
  if (size >= bytes_.size()) return;
  ::explicit_bzero(bytes_.data() + size, bytes_.size() - size);
  bytes_.resize(size);
}

void Secret::wipe() noexcept {
  // SECURITY: freed memory is handed out again and written to core files; a plain memset may be optimised
  // away.
  if (!bytes_.empty()) ::explicit_bzero(bytes_.data(), bytes_.size());
}

}  // namespace quelto::platform
