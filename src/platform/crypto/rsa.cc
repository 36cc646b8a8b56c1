#include "platform/crypto/rsa.h"

#include "platform/bundle/module.h"
#include "platform/crypto/rsa_service.h"

namespace quelto::platform {

const RsaService* rsa() {
  static const auto* const service = moduleService<const RsaService>("libquelto_rsa.so", "queltoRsaService");
  return service;
}

}  // namespace quelto::platform
