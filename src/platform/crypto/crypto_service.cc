#include "platform/crypto/crypto_service.h"

#include "platform/bundle/module.h"

namespace quelto::platform {

const CryptoService* crypto() {
  static const auto* const service =
      moduleService<const CryptoService>("libquelto_crypto.so", "queltoCryptoService");
  return service;
}

}  // namespace quelto::platform
