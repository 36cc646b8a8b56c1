#include "platform/dialog/user_notification.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/dialog/question_watch.h"
#include "platform/files/unique_fd.h"
#include "tests/support/new_process.h"

namespace quelto::platform {
namespace {

/// Takes connections, and never answers them. Its number is ours, so that no other display has it.
UniqueFd hangingDisplay() {
  UniqueFd display(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const std::string number = std::to_string(::getpid());
  const std::string path = "/tmp/.X11-unix/X" + number;
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  // An address that begins with a NUL is in no folder.
  std::ranges::copy(path, address.sun_path + 1);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
  EXPECT_EQ(::bind(display.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
  EXPECT_EQ(::listen(display.get(), 1), 0);
  ::setenv("DISPLAY", (":" + number).c_str(), 1);
  ::unsetenv("WAYLAND_DISPLAY");
  return display;
}

TEST(UserNotificationTest, IsCancelledWhenAbandonedBeforeItsWindowIsUp) {
  test::inNewProcess([] {
    const UniqueFd display = hangingDisplay();
    std::jthread end([&display] {
      const UniqueFd connection(::accept(display.get(), nullptr, nullptr));
      EXPECT_TRUE(connection);
      abandonQuestions();
    });
    // Not absent, which would stand for "nobody can be asked".
    EXPECT_EQ(CFUserNotificationDisplayAlert(kCFUserNotificationCautionAlertLevel, {}, {}),
              kCFUserNotificationCancelResponse);
    ::shutdown(display.get(), SHUT_RDWR);
  });
}

}  // namespace
}  // namespace quelto::platform
