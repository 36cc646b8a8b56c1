#include "tests/support/keyring_surroundings.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace quelto::test {
namespace {

constexpr const char* services = "/usr/share/dbus-1/services/";
constexpr const char* keyringCommand = "gnome-keyring-daemon --foreground --components=secrets";

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
      ::waitpid(id, nullptr, 0);
    }
  }
}

std::string busConfiguration(const std::string& folder) {
  return "<busconfig><type>session</type><listen>unix:path=" + folder + "/run/bus</listen><servicedir>" +
         folder +
         "/services</servicedir><policy context=\"default\"><allow send_destination=\"*\"/><allow "
         "receive_sender=\"*\"/><allow own=\"*\"/>"
         "</policy></busconfig>";
}

}  // namespace

Printed shell(const std::string& command) {
  std::FILE* const output =
      ::popen(("exec 2>&1; unset G_MESSAGES_DEBUG G_DBUS_DEBUG; timeout 20 " + command).c_str(), "re");
  require(output != nullptr, command);
  Printed printed{};
  for (int character = 0; (character = std::fgetc(output)) != EOF;)
    printed.text += static_cast<char>(character);
  printed.status = ::pclose(output);
  return printed;
}

Companion::Companion(const std::string& command, Speech speech) {
  int line[2];
  require(::pipe2(line, O_CLOEXEC) == 0, "pipe");
  id_ = ::fork();
  if (id_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (speech == Speech::announces) ::dup2(line[1], 3);
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  ::close(line[1]);
  char character = '\n';
  while (speech == Speech::announces && ::read(line[0], &character, 1) == 1 && character != '\n')
    announcement_ += character;
  ::close(line[0]);
  require(id_ > 0 && character == '\n', command);
}

Companion::~Companion() {
  constexpr int limit = 5000;
  // Asked first: a display that is killed leaves its socket behind.
  ::kill(id_, SIGTERM);
  ::kill(id_, SIGCONT);
  pollfd ended{.fd = static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)), .events = POLLIN, .revents = 0};
  ::poll(&ended, 1, limit);
  ::close(ended.fd);
  ::kill(id_, SIGKILL);
  ::waitpid(id_, nullptr, 0);
}

void Companion::signal(int number) const { ::kill(id_, number); }

KeyringSurroundings::KeyringSurroundings(Around around) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
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
  folder_.write("bus.conf", busConfiguration(folder_.path()));
  if (around.activation)
    folder_.write(
        "services/secrets.service",
        "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/usr/bin/" + std::string(keyringCommand) + "\n");
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
