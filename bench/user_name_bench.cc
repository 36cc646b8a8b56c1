/// What a remembered user name costs a run of the tool, beside the same run with the name on its command
/// line, in each store. Prints figures and judges none. With "--remember NUMBER" it is the process that
/// fills a store.
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/process_timing.h"
#include "launcher/host_accounts.h"
#include "launcher/program.h"
#include "tests/support/keyring_surroundings.h"
#include "tests/support/temporary_folder.h"
#include "util/suite.h"

namespace quelto::bench {
namespace {

constexpr std::string_view rememberMode = "--remember";
constexpr int rounds = 200;

std::string hostOf(int number) { return "host" + std::to_string(number) + ".example"; }

/// Remembers a name for so many hosts, in the store that the environment names.
void remember(int hosts) {
  const launcher::Program program = launcher::thisProgram();
  for (int number = 0; number < hosts; ++number) {
    const launcher::HostAccounts accounts(
        {._host = hostOf(number), .group_Id = std::string(util::builtInGroupId)}, program);
    accounts.saveAccount("alice");
    // Asked for once, since it takes as long as a run does.
    if (number == hosts - 1 && accounts.loadSavedAccount() != "alice")
      throw std::runtime_error("nothing was remembered");
  }
}

struct Store {
  std::string name;
  /// The home folder, for everything that is kept.
  std::string home;
  /// The variables that lead to it.
  std::vector<std::string> environment;
  int hosts;
};

/// The environment of a run whose marker file is in this folder.
std::vector<std::string> environmentOf(const Store& store, const std::string& markerFolder) {
  std::vector<std::string> environment{"PATH=/usr/local/bin:/usr/bin:/bin", "LANG=C.UTF-8",
                                       "HOME=" + store.home, "SHELL=" TRIVIAL_LOGIN_SHELL,
                                       "AUTH_KEYCHAIN=" + markerFolder + "/marker"};
  environment.insert(environment.end(), store.environment.begin(), store.environment.end());
  return environment;
}

/// A run that nobody has remembered a name for would fail, as there is nobody to ask.
void compareRuns(const Store& store) {
  // Its fsync costs nothing.
  const test::TemporaryFolder inMemory("/dev/shm");
  const auto environment = environmentOf(store, store.home);
  const std::string host = hostOf(store.hosts - 1);
  const std::vector<std::string> words{TOOL, host, "svnserve", "-t"};
  runOnce({"filling the " + store.name,
           {"/proc/self/exe", std::string(rememberMode), std::to_string(store.hosts)},
           environment});
  compareInTurn("A remembered name, " + store.name,
                {{"name on the command line", {TOOL, "-l", "alice", host, "svnserve", "-t"}, environment},
                 {"remembered", words, environment},
                 {"remembered, marker in memory", words, environmentOf(store, inMemory.path())}},
                rounds);
}

void compareEmbedded() {
  const test::TemporaryFolder home;
  compareRuns({.name = "embedded keychain of 100", .home = home.path(), .environment = {}, .hosts = 100});
}

/// The home folder is the password database's; looking into it costs both runs the same.
void comparePasswordFile(int hosts) {
  const test::TemporaryFolder home;
  const std::string database =
      home.write("passwd", "owner:x:" + std::to_string(::getuid()) + ":" + std::to_string(::getgid()) +
                               "::" + home.path() + ":/bin/sh\n");
  compareRuns({.name = "password file of " + std::to_string(hosts),
               .home = home.path(),
               .environment = {"AUTH_STORE=1", "LD_PRELOAD=libnss_wrapper.so", "NSS_WRAPPER_GROUP=/etc/group",
                               "NSS_WRAPPER_PASSWD=" + database},
               .hosts = hosts});
}

void compareSecretService() {
  test::KeyringSurroundings surroundings;
  surroundings.startKeyring();
  std::vector<std::string> environment;
  for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"})
    environment.push_back(std::string(name) + "=" + std::getenv(name));
  compareRuns({.name = "Secret Service of 100",
               .home = surroundings.path("home"),
               .environment = std::move(environment),
               .hosts = 100});
}

}  // namespace
}  // namespace quelto::bench

int main(int argumentCount, char** arguments) {
  using namespace quelto::bench;
  // A table takes many seconds; each shows as soon as it is there, also in a pipe.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  try {
    if (argumentCount == 3 && arguments[1] == rememberMode) {
      remember(std::atoi(arguments[2]));
      // As the tool leaves: nothing is destroyed.
      ::_exit(0);
    }
    compareEmbedded();
    compareSecretService();
    for (const int hosts : {10, 1000}) comparePasswordFile(hosts);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "user_name_bench: %s\n", error.what());
    return 1;
  }
}
