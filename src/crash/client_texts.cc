#include "crash/client_texts.h"

#include <utility>

namespace quelto::crash {

using platform::Deadline;

std::vector<std::string> ClientTexts::add(std::string_view bytes) {
  std::vector<std::string> completed;
  splitter_.add(bytes, [&](std::string_view packet) { take(packet, completed); });
  endOfSilence_ = splitter_.holdsLastPacket() ? Deadline(silence) : Deadline::never();
  return completed;
}

std::vector<std::string> ClientTexts::endLastPacket() {
  std::vector<std::string> completed;
  splitter_.endLastPacket([&](std::string_view packet) { take(packet, completed); });
  endOfSilence_ = Deadline::never();
  return completed;
}

void ClientTexts::take(std::string_view packet, std::vector<std::string>& completed) {
  auto package = CrashComm::parseData(packet);
  if (!package) return;
  const std::string key = package->key;
  const std::size_t before = packetsOf(key);
  if (auto text = comm_.receive(std::move(*package))) completed.push_back(std::move(*text));
  const std::size_t after = packetsOf(key);
  packets_ += after - before;
  if (before == 0 && after > 0) openTexts_.push_back(key);
  if (before > 0 && after == 0) std::erase(openTexts_, key);
  // A client that goes wrong must not fill the memory.
  while (openTexts_.size() > maximumOpenTexts || packets_ > maximumPackets) dropFirst();
}

std::size_t ClientTexts::packetsOf(const std::string& key) const {
  const auto chunks = comm_.cache().find(key);
  return chunks == comm_.cache().end() ? 0 : chunks->second.size();
}

void ClientTexts::dropFirst() {
  packets_ -= packetsOf(openTexts_.front());
  comm_.drop(openTexts_.front());
  openTexts_.pop_front();
}

}  // namespace quelto::crash
