#include "tests/support/keyring_surroundings.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace quelto::test {
namespace {

constexpr const char* services = "/usr/share/dbus-1/services/";
constexpr const char* keyringCommand = "gnome-keyring-daemon --foreground --components=secrets";
const std::string service = "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/usr/bin/";

void require(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

std::vector<pid_t> childrenOfThisProcess() {
  std::vector<pid_t> children;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(task.path() / "children");
    for (pid_t id = 0; list >> id;) children.push_back(id);
  }
  return children;
}

/// What lost its parent has become ours.
void killAllChildren() {
  for (auto children = childrenOfThisProcess(); !children.empty(); children = childrenOfThisProcess()) {
    for (const pid_t id : children) {
      ::kill(id, SIGKILL);
      (void)exitStatusOf(id);
    }
  }
}

std::string busConfiguration(const std::string& folder, const std::string& names) {
  return "<busconfig><type>session</type><listen>unix:path=" + folder + "/run/bus</listen><servicedir>" +
         folder +
         "/services</servicedir><policy context=\"default\"><allow send_destination=\"*\"/><allow "
         "receive_sender=\"*\"/><allow own=\"" +
         names + "\"/></policy></busconfig>";
}

}  // namespace

KeyringSurroundings::KeyringSurroundings(const Around& around) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  // Whatever the machine's locale, programs print names as they are.
  set("LC_ALL", "C.UTF-8");
  set("HOME", path("home"));
  set("XDG_RUNTIME_DIR", path("run"));
  for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "DISPLAY", "WAYLAND_DISPLAY"}) set(name, {});
  for (const char* name : {"home", "run", "services"}) ::mkdir(path(name).c_str(), 0700);
  if (around.display) {
    display_ = std::make_unique<Companion>("exec Xvfb -displayfd 3 -nolisten tcp -noreset >/dev/null 2>&1",
                                           Companion::Speech::announces);
    set("DISPLAY", ":" + display_->announcement());
    set("GDK_BACKEND", "x11");
    set("GSETTINGS_BACKEND", "memory");
    std::filesystem::copy(std::string(services) + "org.gnome.keyring.SystemPrompter.service",
                          path("services"));
  }
  folder_.write("password", "test");
  folder_.write("bus.conf", busConfiguration(folder_.path(), around.names));
  if (around.activation) folder_.write("services/secrets.service", service + keyringCommand + "\n");
  bus_ = std::make_unique<Companion>("exec dbus-daemon --nofork --nosyslog --print-address=3 --config-file=" +
                                         path("bus.conf") + " >/dev/null 2>&1",
                                     Companion::Speech::announces);
  set("DBUS_SESSION_BUS_ADDRESS", bus_->announcement());
}

KeyringSurroundings::~KeyringSurroundings() {
  keyring_.reset();
  bus_.reset();
  display_.reset();
  killAllChildren();
  for (const auto& [name, value] : before_) {
    if (value) {
      ::setenv(name.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name.c_str());
    }
  }
}

void KeyringSurroundings::startKeyring(Collection collection) {
  stopKeyring();
  const std::string unlock =
      collection == Collection::unlocked ? " --unlock <" + path("password") : " </dev/null";
  keyring_ = std::make_unique<Companion>(std::string("exec ") + keyringCommand + unlock + " >/dev/null 2>&1");
  const Printed waited = shell("gdbus wait --session --timeout 10 org.freedesktop.secrets");
  require(waited.status == 0, waited.text);
}

void KeyringSurroundings::stopKeyring() { keyring_.reset(); }

void KeyringSurroundings::breakActivation() const {
  folder_.write("services/secrets.service", service + "nowhere\n");
}

void KeyringSurroundings::lockCollection() const {
  const Printed locked = shell(
      "gdbus call --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets "
      "--method org.freedesktop.Secret.Service.Lock \"['/org/freedesktop/secrets/collection/login']\"");
  require(locked.status == 0, locked.text);
}

void KeyringSurroundings::set(const std::string& name, const std::optional<std::string>& value) {
  const char* const before = std::getenv(name.c_str());
  before_.try_emplace(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1);
  } else {
    ::unsetenv(name.c_str());
  }
}

}  // namespace quelto::test
