#include "launcher/host_accounts.h"

#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "credentials/auth_store.h"
#include "credentials/keychain_items.h"
#include "items/item_texts.h"
#include "platform/bundle/bundle.h"
#include "securefile/key_file.h"
#include "ui/localized_strings.h"
#include "ui/text_format.h"
#include "util/strings.h"
#include "util/suite.h"

namespace quelto::launcher {
namespace {

using credentials::AuthStore;
using items::InternetPassword;
using items::SecureNote;
using platform::Secret;
using securefile::KeyFile;

/// "ssh " and "dflt".
constexpr auto kSecProtocolTypeSSH = items::SecProtocolType{0x73736820};
constexpr auto kSecAuthenticationTypeDefault = items::SecAuthenticationType{0x746C6664};
constexpr std::int64_t defaultPort = 22;

bool isInKeychain() { return credentials::getStore() == AuthStore::keychain; }

/// The programs that may use a remembered name.
std::vector<std::string> trustedAppPaths(const std::optional<std::string>& mainExecutable) {
  std::vector<std::string> paths;
  if (auto tool = platform::Bundle::mainBundle().pathForResource("queltoSSH"))
    paths.push_back(std::move(*tool));
  if (mainExecutable && !mainExecutable->empty()) paths.push_back(*mainExecutable);
  return paths;
}

}  // namespace

HostAccounts::HostAccounts(const Request& request, const Program& program)
    : _host(request._host),
      port_(request.settings.port),
      group_Id_(request.group_Id),
      localizedTable_(program.localizedTable),
      mainExecutable_(program.mainExecutable) {}

std::string HostAccounts::loadSavedAccount() const {
  const auto name = isInKeychain() ? credentials::loadSecItemPassword(savedAccount())
                                   : KeyFile::loadSecItemPassword(savedAccount());
  return name ? std::string(util::trim(name->view())) : "";
}

std::string HostAccounts::loadPasswordAccount() const {
  const std::int64_t port = port_ == 0 ? defaultPort : port_;
  if (port < 0 || port > std::numeric_limits<std::uint16_t>::max()) return "";
  const InternetPassword match{.server = _host,
                               .port = static_cast<std::uint16_t>(port),
                               .scheme = kSecProtocolTypeSSH,
                               .auth = kSecAuthenticationTypeDefault,
                               .domain = group_Id_ + ".ssh_password"};
  auto account = isInKeychain() ? credentials::loadSecItemAccount(match) : KeyFile::loadSecItemAccount(match);
  return account ? std::move(account->username) : "";
}

void HostAccounts::saveAccount(const std::string& username) const {
  const auto text = [this](const char* name, const char* value,
                           std::initializer_list<std::string> arguments) {
    return ui::formatted(ui::localizedString(name, localizedTable_, value), arguments);
  };
  SecureNote note = savedAccount();
  note.label = text("keychain_ssh_account", "%1$@ - SSH account: %2$@", {items::keychainPrefix(), _host});
  note.comment = username;
  if (!isInKeychain()) {
    static_cast<void>(KeyFile::addSecItem(note, Secret(username)));
    return;
  }
  static_cast<void>(credentials::addSecItem(
      {.settings = std::move(note),
       .password = Secret(username),
       .accessName = text("keychain_access_name", "%@ Keychain item", {items::keychainPrefix()}),
       .trustedAppPaths = trustedAppPaths(mainExecutable_),
       .findIgnores = {keychain::kSecAttrLabel, keychain::kSecAttrComment, keychain::kSecAttrDescription}}));
}

void HostAccounts::deleteAccount() const {
  if (isInKeychain()) {
    credentials::deleteSecItem(savedAccount());
  } else {
    static_cast<void>(KeyFile::deleteSecItem(savedAccount(), KeyFile::DeleteAll::yes));
  }
}

SecureNote HostAccounts::savedAccount() const {
  return {.account = std::string(util::builtInGroupId), .name = _host, .generic = group_Id_ + ".ssh_account"};
}

}  // namespace quelto::launcher
