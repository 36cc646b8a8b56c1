#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "crash/crash_packet.h"

namespace quelto::crash {

/// What one packet brought of a text.
struct Chunk {
  PackageFlag flags = PackageFlag::entire;
  std::uint16_t index = 0;
  std::uint16_t count = 0;
  std::string body;
};

/// Whether no packet of its text has a higher index, which alone may be shorter than the others: the flags
/// are `entire`, or the count ends with this one or before. Only for 16 bytes or more.
[[nodiscard]] bool isLastOfText(std::string_view packet);

/// Puts texts together from the packets of crash_packet.h, each of which is given whole. One thread.
class CrashComm {
 public:
  /// The packets of one text by their index.
  using Chunks = std::map<std::uint16_t, Chunk>;

  struct Package {
    /// The identity in standard Base64, 16 characters (the 11 bytes themselves without the crypto module).
    std::string key;
    Chunk chunk;
  };

  /// Absent for what is no packet: fewer than 16 bytes, or flags that are no `PackageFlag`. The body is
  /// whatever follows the header.
  [[nodiscard]] static std::optional<Package> parseData(std::string_view data);

  /// Takes a packet, in any order, and returns the text that it completes. Absent while packets are missing,
  /// for a text that is not UTF-8, which is dropped, and for what is no packet, which is ignored. A packet
  /// with an index that is there already takes the other's place.
  ///
  /// A text is complete when, from its second packet on, there are as many as the latest one counts; which
  /// indexes they have does not matter. Only `entire` packets that count one are complete by themselves.
  std::optional<std::string> receiveData(std::string_view data);
  /// The same for a packet that was parsed before.
  std::optional<std::string> receive(Package package);

  /// The texts that are not complete, by key. They stay until somebody drops them.
  [[nodiscard]] const std::map<std::string, Chunks>& cache() const { return cache_; }
  void drop(const std::string& key) { cache_.erase(key); }
  void clearCache() { cache_.clear(); }
  void stop() { clearCache(); }

 private:
  std::map<std::string, Chunks> cache_;
};

}  // namespace quelto::crash
