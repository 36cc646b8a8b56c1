#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "crash/client_texts.h"
#include "crash/socket_server.h"
#include "platform/threads/deadline.h"

namespace quelto::crash {

/// Receives the crash reports of this user's processes on a socket in the container of an application group.
/// It lives in the run loop of the thread that made it, which its owner runs like this:
///
///     while (loop->runUntil(server.nextDeadline())) server.tick();
///
/// The loop's `runUntil` returns early when the next deadline has come nearer.
class CrashServer final : private SocketServerDelegate {
 public:
  /// The fields of a report as they were sent, valid UTF-8 and no more. May stop the server, not destroy it.
  using CrashReceived = std::function<void(const std::string& date, const std::string& source,
                                           const std::string& version, const std::string& report)>;

  /// The socket is the file of that name in the container of the group whose identifier is the first two
  /// texts joined. The server starts, see `start`.
  CrashServer(std::string_view appGroup, std::string_view securitySuffix, std::string_view socketFileName,
              CrashReceived crashReceived);
  ~CrashServer();

  /// False, and stopped, when the group has no container or the socket cannot be had; `isTaken` tells whether
  /// another server has it. True when it is running already.
  bool start();
  [[nodiscard]] bool isTaken() const { return server_ && server_->isTaken(); }
  [[nodiscard]] bool isRunning() const;
  /// Ends what the clients have sent, removes the socket and drops texts that are not complete.
  void stop();

  /// Calls back with the fields of a text; a text that has not exactly four is dropped.
  void processData(std::string_view text) const;

  /// When `tick` has something to do, which time alone brings.
  [[nodiscard]] platform::Deadline nextDeadline();
  /// Ends the last packets of clients that have been silent for `ClientTexts::silence`, and accepts again
  /// after the system was out of descriptors or memory.
  void tick();

 private:
  /// Until the system is asked again for a descriptor.
  static constexpr std::chrono::seconds pauseOfAccepting{1};

  void processAll(const std::vector<std::string>& texts) const;

  void clientsChanged(SocketServer&, std::size_t) override {}
  void dataReceived(SocketServer& server, std::string_view data, SocketClient& client) override;
  void textReceived(SocketServer&, const std::string&, SocketClient&) override {}
  void clientEnded(SocketServer& server, SocketClient& client) override;

  /// Null without a container.
  std::shared_ptr<SocketServer> server_;
  CrashReceived crashReceived_;
  /// Only clients that have sent something.
  std::map<const SocketClient*, ClientTexts> clients_;
  platform::Deadline endOfPause_ = platform::Deadline::never();
  /// What the owner was told last.
  platform::Deadline toldDeadline_ = platform::Deadline::never();
};

}  // namespace quelto::crash
