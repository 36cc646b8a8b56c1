#include "crash/send_data_signal.h"

#include <algorithm>
#include <limits>

#include "crash/crash_clock_signal.h"
#include "platform/signals/system_calls_signal.h"

namespace quelto::crash {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds pauseLength{10};
constexpr milliseconds sendingLimit{5000};
constexpr std::size_t maximumLength = chunkLength * std::numeric_limits<std::uint16_t>::max();

/// Reads several texts as one.
class Reader {
 public:
  explicit Reader(std::span<const std::string_view> pieces) : pieces_(pieces) {}

  /// Copies the next bytes, as many as there is room for.
  void read(std::span<char> out) {
    while (!out.empty() && piece_ < pieces_.size()) {
      const std::string_view left = pieces_[piece_].substr(done_);
      const std::size_t count = std::min(left.size(), out.size());
      std::copy_n(left.data(), count, out.data());
      out = out.subspan(count);
      done_ += count;
      if (done_ < pieces_[piece_].size()) continue;
      ++piece_;
      done_ = 0;
    }
  }

 private:
  std::span<const std::string_view> pieces_;
  std::size_t piece_ = 0;
  std::size_t done_ = 0;
};

bool isContinuationByte(char character) { return (static_cast<unsigned char>(character) & 0xC0) == 0x80; }

/// A byte of several texts that are read as one, in which it lies.
char byteAt(std::span<const std::string_view> pieces, std::size_t index) {
  std::size_t piece = 0;
  for (; index >= pieces[piece].size(); ++piece) index -= pieces[piece].size();
  return pieces[piece][index];
}

void putNumber(std::span<char> out, std::size_t number) {
  out[0] = static_cast<char>(number & 0xFF);
  out[1] = static_cast<char>(number >> 8);
}

}  // namespace

std::array<std::uint8_t, identityLength> buildIdentity() noexcept {
  const LocalMoment now = localMoment();
  std::array<std::uint8_t, identityLength> identity{
      static_cast<std::uint8_t>(now.hours), static_cast<std::uint8_t>(now.minutes),
      static_cast<std::uint8_t>(now.seconds), static_cast<std::uint8_t>(now.milliseconds & 0xFF),
      static_cast<std::uint8_t>(now.milliseconds >> 8)};
  platform::fillWithRandomBytes(std::span(identity).subspan(5));
  return identity;
}

std::size_t sendableLength(std::span<const std::string_view> pieces) noexcept {
  std::size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();
  if (length <= maximumLength) return length;
  for (length = maximumLength; length > 0 && isContinuationByte(byteAt(pieces, length));) --length;
  return length;
}

void sendData(std::span<const std::string_view> pieces, int descriptor) noexcept {
  Reader reader(pieces);
  const std::size_t length = sendableLength(pieces);
  const std::size_t count = (length + chunkLength - 1) / chunkLength;
  const auto identity = buildIdentity();
  std::array<char, headerLength + chunkLength> packet{};
  packet[0] = static_cast<char>(length > chunkLength ? PackageFlag::split : PackageFlag::entire);
  putNumber(std::span(packet).subspan(1), count);
  std::copy(identity.begin(), identity.end(), packet.begin() + 5);
  std::chrono::nanoseconds timeLeft = sendingLimit;
  for (std::size_t index = 0; index < count; ++index) {
    const std::size_t bodyLength = std::min(chunkLength, length - index * chunkLength);
    putNumber(std::span(packet).subspan(3), index);
    reader.read(std::span(packet).subspan(headerLength, bodyLength));
    const std::string_view bytes(packet.data(), headerLength + bodyLength);
    if (descriptor >= 0 && !platform::sendWithin(descriptor, bytes, timeLeft)) descriptor = -1;
    platform::sleepFor(pauseLength);
  }
}

}  // namespace quelto::crash
