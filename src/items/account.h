#pragma once

#include <string>

#include "platform/secrets/secret.h"

namespace quelto::items {

/// What a look-up of an account gives.
struct Account {
  std::string username;
  platform::Secret password;
};

}  // namespace quelto::items
