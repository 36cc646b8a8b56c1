#pragma once

#include <cstdlib>
#include <map>
#include <string>

namespace quelto::test {

/// Gives this process the environment of a caller: of the variables that the launcher reads, these and no
/// others.
inline void setCallersEnvironment(const std::map<std::string, std::string>& environment) {
  for (const char* name : {"AUTH_LANGUAGE", "SSH_TUNNEL", "AUTH_KEYCHAIN", "SSH_APPGROUP", "SSH_ORIGINAL",
                           "SHELL", "SSH_AUTH_SOCK", "LOGNAME", "HOME"}) {
    const auto value = environment.find(name);
    value == environment.end() ? ::unsetenv(name) : ::setenv(name, value->second.c_str(), 1);
  }
}

}  // namespace quelto::test
