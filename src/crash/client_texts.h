#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "crash/crash_comm.h"
#include "crash/packet_splitter.h"
#include "platform/threads/deadline.h"

namespace quelto::crash {

/// What one client of the server has sent so far: finds its packets and puts its texts together, within
/// limits. One thread.
class ClientTexts {
 public:
  /// Texts that are open at once. Over this the one that was begun first is dropped.
  static constexpr std::size_t maximumOpenTexts = 64;
  /// Packets that are kept, however short: the greatest text has 65,535. With the rest of a stream that is 16
  /// MiB of packets. Over this the text that was begun first is dropped, until the others fit.
  static constexpr std::size_t maximumPackets = (std::size_t{16} << 20U) / PacketSplitter::packetLength - 1;
  /// A last packet that nothing follows for so long is whole.
  static constexpr std::chrono::seconds silence{1};

  /// Takes what was read from the client and returns the texts that it completes.
  [[nodiscard]] std::vector<std::string> add(std::string_view bytes);

  /// Ends the last packet, as at the client's end or after `silence`.
  [[nodiscard]] std::vector<std::string> endLastPacket();

  /// When the client will have been silent for long enough to end a last packet; never when there is none.
  [[nodiscard]] const platform::Deadline& endOfSilence() const { return endOfSilence_; }

 private:
  void take(std::string_view packet, std::vector<std::string>& completed);
  [[nodiscard]] std::size_t packetsOf(const std::string& key) const;
  void dropFirst();

  PacketSplitter splitter_;
  CrashComm comm_;
  /// The keys of the open texts, as they were begun.
  std::deque<std::string> openTexts_;
  std::size_t packets_ = 0;
  platform::Deadline endOfSilence_ = platform::Deadline::never();
};

}  // namespace quelto::crash
