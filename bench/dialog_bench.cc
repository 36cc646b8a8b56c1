/// The time from the start of a program to its dialog on the screen, compared with zenity, on an X server of
/// its own that draws without a graphics card. Prints figures and judges none.
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/process_timing.h"
#include "bench/server_list_file.h"
#include "platform/children/child_options.h"
#include "platform/children/child_process.h"
#include "platform/dialog/dialog_protocol.h"
#include "platform/dialog/notification.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"
#include "platform/threads/deadline.h"

namespace quelto::bench {
namespace {

using Clock = std::chrono::steady_clock;
using platform::UniqueFd;

constexpr int rounds = 15;
/// Enough to fill the page cache and the font cache.
constexpr int warmUpRounds = 2;
/// Far above any start.
constexpr std::chrono::seconds limit{30};

constexpr const char* header = "The SSH username is required";
constexpr const char* message = "Please type username for SSH host 'host.example' to connect.";

/// Ends the program when a step has not done what it is timed for.
void require(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// A running child. The destructor asks it to end, as an X server removes its lock then, and waits until it
/// has.
class RunningChild {
 public:
  /// `descriptors` in addition to the standard streams, which are all the null device.
  RunningChild(std::vector<std::string> words, std::vector<std::string> environment,
               std::vector<platform::DescriptorMapping> descriptors) {
    const UniqueFd null = platform::movedUp(platform::openNullDevice());
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
      descriptors.push_back({null.get(), stream});
    const std::string program = words.front();
    words.erase(words.begin());
    require(child_.launch({program, std::move(words), std::move(environment), std::move(descriptors)}),
            program + ": cannot be started");
  }
  ~RunningChild() {
    const UniqueFd exit = child_.exitDescriptor();
    std::array<pollfd, 1> requests{pollfd{.fd = exit.get(), .events = POLLIN, .revents = 0}};
    child_.terminate();
    if (!platform::pollUntil(requests, platform::Deadline(limit))) child_.kill();
    (void)child_.waitUntilExit();
  }
  RunningChild(const RunningChild&) = delete;
  RunningChild& operator=(const RunningChild&) = delete;

 private:
  platform::ChildProcess child_;
};

/// An X server, and a connection to it that sees each window appear and disappear. The server ends with its
/// last client.
class Display {
 public:
  Display() {
    platform::Pipe pipe = platform::makePipe();
    UniqueFd theirs = platform::movedUp(std::move(pipe.writeEnd));
    server_.emplace(std::vector<std::string>{XVFB, "-displayfd", "3", "-terminate", "-screen", "0",
                                             "800x600x24", "-nolisten", "tcp"},
                    std::vector<std::string>{}, std::vector<platform::DescriptorMapping>{{theirs.get(), 3}});
    theirs.reset();
    std::array<char, 16> number{};
    require(::read(pipe.readEnd.get(), number.data(), number.size() - 1) > 0, "no X server");
    name_ = ":" + std::to_string(std::atoi(number.data()));
    connection_.reset(::xcb_connect(name_.c_str(), nullptr));
    require(::xcb_connection_has_error(connection_.get()) == 0, "no connection to the X server");
    const xcb_window_t root = ::xcb_setup_roots_iterator(::xcb_get_setup(connection_.get())).data->root;
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    ::xcb_change_window_attributes(connection_.get(), root, XCB_CW_EVENT_MASK, &mask);
    ::xcb_flush(connection_.get());
  }

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] int descriptor() const { return ::xcb_get_file_descriptor(connection_.get()); }

  /// Whether a window has appeared, or disappeared, since the last call. Without a window manager a mapped
  /// window is visible at once.
  [[nodiscard]] bool hasMapped() { return take(XCB_MAP_NOTIFY); }
  [[nodiscard]] bool hasUnmapped() { return take(XCB_UNMAP_NOTIFY); }

  /// The next program must not compete with one that still ends.
  void waitUntilUnmapped() {
    const platform::Deadline deadline(limit);
    std::array<pollfd, 1> requests{pollfd{.fd = descriptor(), .events = POLLIN, .revents = 0}};
    while (!hasUnmapped()) require(platform::pollUntil(requests, deadline), "a window stays");
  }

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const { ::xcb_disconnect(connection); }
  };
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  bool take(int type) {
    for (;;) {
      const std::unique_ptr<xcb_generic_event_t, Free> event(::xcb_poll_for_event(connection_.get()));
      if (event == nullptr) break;
      if ((event->response_type & 0x7f) == type) return true;
    }
    require(::xcb_connection_has_error(connection_.get()) == 0, "the X server is gone");
    return false;
  }

  std::optional<RunningChild> server_;
  std::string name_;
  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

/// The same for all programs: nothing that needs a session bus, since there is none.
std::vector<std::string> environmentFor(const Display& display, const TemporaryHome& home) {
  return {"PATH=/usr/local/bin:/usr/bin:/bin",
          "LANG=C.UTF-8",
          "HOME=" + home.path().string(),
          "DISPLAY=" + display.name(),
          "GTK_A11Y=none",
          "NO_AT_BRIDGE=1",
          "GSETTINGS_BACKEND=memory",
          "SHELL=" TRIVIAL_LOGIN_SHELL,
          "AUTH_KEYCHAIN=" + home.path().string() + "/marker"};
}

/// The question for a user name, as the tool asks it.
std::string userNameRequest() {
  using namespace platform;
  const std::pair<std::string_view, std::string> texts[] = {
      {kCFUserNotificationAlertHeaderKey, header},
      {kCFUserNotificationIconURLKey, ICON},
      {kCFUserNotificationAlertMessageKey, message},
      {kCFUserNotificationDefaultButtonTitleKey, "OK"},
      {kCFUserNotificationAlternateButtonTitleKey, "Cancel"},
      {kCFUserNotificationTextFieldTitlesKey, "SSH username:"},
      {kCFUserNotificationCheckBoxTitlesKey, "Remember SSH username in key chain."}};
  PropertyListDictionary request{
      {std::string(dialog::flagsKey), std::uint64_t{kCFUserNotificationPlainAlertLevel | firstCheckBoxFlag}}};
  for (const auto& [key, text] : texts) request.insert_or_assign(std::string(key), text);
  return dialog::frameOf(request);
}

/// How long after its start a program's window was mapped.
Microseconds timeUntilMapped(Display& display, std::vector<std::string> words,
                             const std::vector<std::string>& environment) {
  const std::string program = words.front();
  std::array<pollfd, 1> requests{pollfd{.fd = display.descriptor(), .events = POLLIN, .revents = 0}};
  const auto begin = Clock::now();
  std::optional<RunningChild> child(std::in_place, std::move(words), environment,
                                    std::vector<platform::DescriptorMapping>{});
  const platform::Deadline deadline(limit);
  while (!display.hasMapped()) require(platform::pollUntil(requests, deadline), program + ": no window");
  const Microseconds time = Clock::now() - begin;
  child.reset();
  display.waitUntilUnmapped();
  return time;
}

struct DialogTimes {
  Microseconds mapped{};
  Microseconds firstFrame{};
};

/// Measures the dialog's program alone, in place of the tool.
DialogTimes timeDialog(Display& display, const std::vector<std::string>& environment) {
  platform::Pipe request = platform::makePipe();
  platform::Pipe answers = platform::makePipe();
  const std::string frame = userNameRequest();
  // A pipe takes so little at once.
  require(::write(request.writeEnd.get(), frame.data(), frame.size()) == static_cast<ssize_t>(frame.size()),
          "no request");
  UniqueFd requestEnd = platform::movedUp(std::move(request.readEnd));
  UniqueFd answerEnd = platform::movedUp(std::move(answers.writeEnd));
  const auto begin = Clock::now();
  std::optional<RunningChild> child(
      std::in_place, std::vector<std::string>{DIALOG}, environment,
      std::vector<platform::DescriptorMapping>{{requestEnd.get(), platform::dialog::requestDescriptor},
                                               {answerEnd.get(), platform::dialog::answerDescriptor}});
  requestEnd.reset();
  answerEnd.reset();
  const platform::Deadline deadline(limit);

  DialogTimes times;
  platform::dialog::FrameReader reader;
  std::optional<platform::PropertyListDictionary> answer;
  while (times.mapped.count() == 0 || times.firstFrame.count() == 0) {
    std::array<pollfd, 2> requests{pollfd{.fd = display.descriptor(), .events = POLLIN, .revents = 0},
                                   pollfd{.fd = answers.readEnd.get(), .events = POLLIN, .revents = 0}};
    require(platform::pollUntil(requests, deadline), "quelto-dialog: no window");
    const Microseconds now = Clock::now() - begin;
    if (display.hasMapped() && times.mapped.count() == 0) times.mapped = now;
    if (requests[1].revents == 0) continue;
    std::array<char, 4096> bytes;
    const ssize_t count = ::read(answers.readEnd.get(), bytes.data(), bytes.size());
    require(count > 0, "quelto-dialog: ended");
    reader.append({bytes.data(), static_cast<std::size_t>(count)});
    if (!(answer = reader.next())) continue;
    require(platform::textAt(*answer, platform::dialog::stateKey) == platform::dialog::shown,
            "quelto-dialog: not shown");
    times.firstFrame = now;
  }
  child.reset();
  display.waitUntilUnmapped();
  return times;
}

void printRow(const char* name, std::vector<Microseconds> times) {
  const auto milliseconds = [](Microseconds time) { return time.count() / 1000; };
  const Timing timing = timingOf(std::move(times));
  std::printf("  %-34s %9.1f %9.1f %9.1f\n", name, milliseconds(timing.median), milliseconds(timing.p10),
              milliseconds(timing.p90));
}

void compareWindows() {
  const TemporaryHome home;
  Display display;
  const auto environment = environmentFor(display, home);
  // Has a time limit in case nobody ends it.
  const std::vector<std::string> zenity{ZENITY,   "--entry", "--title",   header,
                                        "--text", message,   "--timeout", "60"};
  std::vector<Microseconds> mapped, firstFrame, zenityMapped, toolMapped;
  for (int round = -warmUpRounds; round < rounds; ++round) {
    const Microseconds ofZenity = timeUntilMapped(display, zenity, environment);
    const DialogTimes ours = timeDialog(display, environment);
    const Microseconds ofTool =
        timeUntilMapped(display, {TOOL, "host.example", "svnserve", "-t"}, environment);
    if (round < 0) continue;
    zenityMapped.push_back(ofZenity);
    mapped.push_back(ours.mapped);
    firstFrame.push_back(ours.firstFrame);
    toolMapped.push_back(ofTool);
  }
  std::printf("\nA window, from the program's start, %d runs each, milliseconds\n  %-34s %9s %9s %9s\n",
              rounds, "", "median", "p10", "p90");
  printRow("zenity --entry, mapped", std::move(zenityMapped));
  printRow("quelto-dialog, mapped", std::move(mapped));
  printRow("quelto-dialog, first frame", std::move(firstFrame));
  printRow("queltoSSH without a user, mapped", std::move(toolMapped));
}

}  // namespace
}  // namespace quelto::bench

int main() {
  try {
    quelto::bench::compareWindows();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "dialog_bench: %s\n", error.what());
    return 1;
  }
}
