#include "crash/crash_comm.h"

#include <utility>

#include "platform/crypto/base64.h"
#include "platform/text/utf8.h"

namespace quelto::crash {
namespace {

constexpr std::size_t countAt = 1;
constexpr std::size_t indexAt = 3;
constexpr std::size_t identityAt = 5;
static_assert(identityAt + identityLength == headerLength);

std::uint16_t littleEndianAt(std::string_view data, std::size_t at) {
  const auto low = static_cast<std::uint8_t>(data[at]);
  const auto high = static_cast<std::uint8_t>(data[at + 1]);
  return static_cast<std::uint16_t>(low | high << 8U);
}

std::optional<std::string> ifUtf8(std::string text) {
  if (!platform::isValidUtf8(text)) return std::nullopt;
  return text;
}

std::string joined(const CrashComm::Chunks& chunks) {
  std::string text;
  text.reserve(chunks.size() * chunkLength);
  for (const auto& [index, chunk] : chunks) text += chunk.body;
  return text;
}

}  // namespace

bool isLastOfText(std::string_view packet) {
  return packet.front() == static_cast<char>(PackageFlag::entire) ||
         littleEndianAt(packet, indexAt) + 1 >= littleEndianAt(packet, countAt);
}

std::optional<CrashComm::Package> CrashComm::parseData(std::string_view data) {
  if (data.size() < headerLength) return std::nullopt;
  const auto flags = static_cast<PackageFlag>(data.front());
  if (flags != PackageFlag::entire && flags != PackageFlag::split) return std::nullopt;
  const std::string_view identity = data.substr(identityAt, identityLength);
  return Package{.key = platform::base64(identity).value_or(std::string(identity)),
                 .chunk = {.flags = flags,
                           .index = littleEndianAt(data, indexAt),
                           .count = littleEndianAt(data, countAt),
                           .body = std::string(data.substr(headerLength))}};
}

std::optional<std::string> CrashComm::receiveData(std::string_view data) {
  auto package = parseData(data);
  return package ? receive(std::move(*package)) : std::nullopt;
}

std::optional<std::string> CrashComm::receive(Package package) {
  Chunk& chunk = package.chunk;
  const std::uint16_t count = chunk.count;
  if (count == 1 && chunk.flags == PackageFlag::entire) return ifUtf8(std::move(chunk.body));
  const auto [entry, isFirst] = cache_.try_emplace(std::move(package.key));
  Chunks& chunks = entry->second;
  chunks.insert_or_assign(chunk.index, std::move(chunk));
  if (isFirst || chunks.size() != count) return std::nullopt;
  std::string text = joined(chunks);
  cache_.erase(entry);
  return ifUtf8(std::move(text));
}

}  // namespace quelto::crash
