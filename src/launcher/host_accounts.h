#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "items/item_records.h"
#include "launcher/program.h"
#include "launcher/request.h"

namespace quelto::launcher {

/// What is kept of the user names for one host, in the store that AUTH_STORE names at each call. Each call
/// takes as long as the store does, and may ask the person about the password file's keys. Copies may be used
/// on any thread.
class HostAccounts {
 public:
  HostAccounts(const Request& request, const Program& program);

  /// The remembered name without whitespace at its ends; empty when there is none.
  [[nodiscard]] std::string loadSavedAccount() const;

  /// The account of the password that is kept for ssh on the host and port; empty when there is none, and for
  /// a port that is none.
  [[nodiscard]] std::string loadPasswordAccount() const;

  /// Remembers the name. A failure is not reported.
  void saveAccount(const std::string& username) const;

  /// Forgets every name that is remembered for the host. A failure is not reported.
  void deleteAccount() const;

 private:
  /// The remembered name, without the texts that a person reads.
  [[nodiscard]] items::SecureNote savedAccount() const;

  std::string _host;
  std::int64_t port_;
  std::string group_Id_;
  std::string localizedTable_;
  std::optional<std::string> mainExecutable_;
};

}  // namespace quelto::launcher
