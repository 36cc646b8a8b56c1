#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "crash/socket_client.h"

namespace quelto::crash {

/// The sending side of the crash reports: connected from its construction, so that a process that crashes
/// finds its connection ready. Main thread, but for `crashReport`.
class CrashClient final : private SocketClientDelegate {
 public:
  /// Connects to the socket `socketFileName` in the container folder of the group `appGroup` +
  /// `securitySuffix`; waits at most 5 seconds for a collector that does not accept. Without such a folder or
  /// a collector it stays disconnected.
  CrashClient(std::string_view appGroup, std::string_view securitySuffix, std::string_view socketFileName);
  ~CrashClient();
  CrashClient(const CrashClient&) = delete;
  CrashClient& operator=(const CrashClient&) = delete;

  /// Connects again; false when that fails.
  bool start();
  void stop();

  /// Sends a report: see `sendData` for how long that takes. An absent `source` is the file name of the
  /// running program, or "<unknown>"; an absent `date` is now, as "yyyy-MM-dd HH:mm:ss.SSS" in local time.
  /// Whether it arrives is not known. Any thread; signal-safe.
  void crashReport(std::optional<std::string_view> date, std::optional<std::string_view> source,
                   std::string_view version, std::string_view report) const noexcept;

 private:
  void stateChanged(SocketClient& /*client*/, SocketClientStatus /*newState*/) override {}
  void disconnect(SocketClient& /*client*/) override {}
  void dataReceived(SocketClient& /*client*/, std::string_view /*data*/) override {}
  void textReceived(SocketClient& /*client*/, const std::string& /*text*/) override {}

  std::shared_ptr<SocketClient> client_;
  std::string programName_;
};

}  // namespace quelto::crash
