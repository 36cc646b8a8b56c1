#include "platform/crypto/digest.h"

#include "platform/crypto/crypto_service.h"

namespace quelto::platform {

std::optional<std::string> sha256(std::string_view bytes) {
  const CryptoService* const service = crypto();
  return service != nullptr ? service->sha256(bytes) : std::nullopt;
}

}  // namespace quelto::platform
