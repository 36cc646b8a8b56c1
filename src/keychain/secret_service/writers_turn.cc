#include "keychain/secret_service/writers_turn.h"

namespace quelto::keychain {
namespace {

constexpr const char* writerName = "org.quelto.suite.KeychainWriter";
/// RequestName's answer when another connection has the name and we wait in line.
constexpr guint32 inQueue = 2;

}  // namespace

WritersTurn::WritersTurn(BusConnection& bus, const platform::Deadline& deadline) : bus_(bus) {
  const AwaitedSignal acquired(bus_, "NameAcquired", writerName);
  const Answer answer =
      bus_.askBus("RequestName", g_variant_new("(su)", writerName, guint32{0}), "(u)", deadline);
  outcome_ = answer.outcome == Outcome::refused ? Outcome::done : answer.outcome;
  if (answer.outcome != Outcome::done) return;
  guint32 place = 0;
  g_variant_get(answer.value.get(), "(u)", &place);
  if (place == inQueue && !bus_.waitUntil([&] { return acquired.hasArrived(); }, deadline))
    outcome_ = Outcome::noAnswer;
}

WritersTurn::~WritersTurn() { bus_.tellBus("ReleaseName", g_variant_new("(s)", writerName)); }

}  // namespace quelto::keychain
