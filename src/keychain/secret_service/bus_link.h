#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "keychain/secret_service/errand.h"
#include "keychain/secret_service/glib_owners.h"
#include "keychain/secret_service/outcome.h"

namespace quelto::keychain {

/// One connection to the session bus and, over it, to one running keyring daemon. It serves one errand at a
/// time, of any thread, and every wait in it ends when the errand's time does, save that for the person.
/// Requests go to the daemon's own name on the bus: no other daemon gets what was meant for one that died.
class BusLink {
 public:
  /// What is asked of an object of the keyring: D-Bus interface, method, its arguments (a tuple) and the type
  /// of the answer, to which every answer conforms.
  struct Request {
    const char* interface;
    const char* method;
    GVariant* arguments;
    const char* answerType;
  };

  struct Answer {
    Outcome outcome = Outcome::unavailable;
    /// A tuple; null unless done.
    VariantOwner value;
  };

  /// A new connection; null when no bus is there or it does not answer in time.
  [[nodiscard]] static std::unique_ptr<BusLink> connect(std::string address, Errand& errand);

  /// That of the bus.
  [[nodiscard]] const std::string& address() const { return address_; }

  ~BusLink();
  BusLink(const BusLink&) = delete;
  BusLink& operator=(const BusLink&) = delete;

  /// Asks the bus for the service, without starting it: `gone` when it can be had by nobody.
  [[nodiscard]] Outcome lookForService(Errand& errand);

  /// Turns to the daemon that runs now, and starts one when none does. To be called first in each errand.
  [[nodiscard]] Outcome turnToService(Errand& errand);

  [[nodiscard]] Answer ask(Errand& errand, const std::string& path, const Request& request);
  /// The same of several objects at once; an answer for each.
  [[nodiscard]] std::vector<Answer> askEach(Errand& errand, const std::vector<std::string>& paths,
                                            const Request& request);

  /// Asks the daemon to open the collections, with a dialog where there is a display. Done says nothing of
  /// what is open now. `locked` when the person has to be asked and cannot be, is being asked already, or
  /// has refused.
  [[nodiscard]] Outcome unlock(Errand& errand, const std::vector<std::string>& collections);

  /// Shows the dialog that an answer names, if it names one ("/" is none); `locked` as above.
  [[nodiscard]] Outcome showPrompt(Errand& errand, const char* prompt);

  /// Makes the item's secret that of the errand.
  [[nodiscard]] Outcome readSecret(Errand& errand, const std::string& item);
  /// The errand's secret as the keyring takes it, type "(oayays)"; null with another outcome than done.
  [[nodiscard]] Answer sealedSecret(Errand& errand);

  /// Waits until no other process or thread of ours writes, so that looking for a duplicate and adding an
  /// item are one step among them: the Secret Service has no such thing, but a name on the bus has one owner,
  /// and loses it with its connection. Ends with `endWriting`, and before a dialog: nobody waits for a
  /// person.
  [[nodiscard]] Outcome beginWriting(Errand& errand);
  void endWriting();

 private:
  explicit BusLink(std::string address) : address_(std::move(address)), context_(g_main_context_new()) {}

  [[nodiscard]] std::vector<Answer> askAt(Errand& errand, const char* destination,
                                          const std::vector<std::string>& paths, const Request& request);
  [[nodiscard]] Answer askBus(Errand& errand, const char* method, GVariant* arguments,
                              const char* answerType);
  [[nodiscard]] Outcome findOwner(Errand& errand);
  [[nodiscard]] Outcome openSession(Errand& errand);

  const std::string address_;
  /// What arrives for this connection is dispatched here, by whoever is using the link.
  ContextOwner context_;
  ObjectOwner<GDBusConnection> connection_;
  /// The daemon's own name, which no other connection ever gets.
  std::string owner_;
  /// libsecret's view of that daemon, with the session that secrets travel in; null before it is needed.
  ObjectOwner<SecretService> service_;
  bool isWriting_ = false;
};

}  // namespace quelto::keychain
