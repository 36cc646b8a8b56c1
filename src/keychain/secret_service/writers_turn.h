#pragma once

#include "keychain/secret_service/bus_connection.h"

namespace quelto::keychain {

/// The right to write, which one connection to the bus has at a time: looking for a duplicate and adding an
/// item are one step then. The Secret Service has no such thing, but a name on the bus has one owner, who
/// loses it with its connection. The connection must outlive this.
class WritersTurn {
 public:
  /// Waits, on the thread that the connection serves, until no other connection has it.
  WritersTurn(BusConnection& bus, const platform::Deadline& deadline);
  ~WritersTurn();
  WritersTurn(const WritersTurn&) = delete;
  WritersTurn& operator=(const WritersTurn&) = delete;

  /// Done when it is ours, and also where the bus gives out no names, as in a sandbox: two writers that add
  /// the same item at the same moment are then not told apart, and both add theirs. `noAnswer` when the bus
  /// does not answer, or another connection still has it, at the deadline.
  [[nodiscard]] Outcome outcome() const { return outcome_; }

 private:
  BusConnection& bus_;
  Outcome outcome_;
};

}  // namespace quelto::keychain
