#pragma once

namespace quelto::platform {

class RsaService;

/// The RSA module, opened on first use; null when it is not installed. Thread-safe.
[[nodiscard]] const RsaService* rsa();

}  // namespace quelto::platform
