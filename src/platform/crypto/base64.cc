#include "platform/crypto/base64.h"

#include "platform/crypto/crypto_service.h"

namespace quelto::platform {

std::optional<std::string> base64(std::string_view bytes, Base64Lines lines) {
  const CryptoService* const service = crypto();
  return service != nullptr ? std::optional(service->base64(bytes, lines)) : std::nullopt;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
  const CryptoService* const service = crypto();
  return service != nullptr ? service->bytesOfBase64(text) : std::nullopt;
}

}  // namespace quelto::platform
