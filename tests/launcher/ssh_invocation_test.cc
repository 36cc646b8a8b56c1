#include "launcher/ssh_invocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/launcher/caller_environment.h"
#include "ui/localized_strings.h"

namespace quelto::launcher {
namespace {

using testing::ElementsAre;

TEST(SshInvocation, HasExactlyTheListedVariablesInOrder) {
  test::setCallersEnvironment(
      {{"HOME", "/h"}, {"LOGNAME", "l"}, {"SSH_AUTH_SOCK", "/s"}, {"SSH_TUNNEL", "yes"}});
  ui::globalCustomLanguage = "ja";
  Request request{._host = "host",
                  .settings = {.port = -5, .username = "bob"},
                  .command = {},
                  .group_Id = "a.group",
                  .identifyFile = "/k",
                  .loginName = "me"};
  EXPECT_THAT(sshInvocation(request).environment,
              ElementsAre("LC_ALL=en_US.UTF-8", "LANG=en_US.UTF-8", "DISPLAY=NONE", "AUT_APPGROUP=a.group",
                          "USER=me", "AUTH_KEYCHAIN=/k", "AUTH_LANGUAGE=ja", "SSH_USER=bob", "SSH_HOST=host",
                          "SSH_PORT=-5", "SSH_AUTH_SOCK=/s", "LOGNAME=l", "HOME=/h"));
  request.settings.port = 0;
  test::setCallersEnvironment({});
  EXPECT_THAT(sshInvocation(request).environment, testing::Contains("SSH_PORT=22"));
  EXPECT_THAT(sshInvocation(request).environment, testing::SizeIs(10));
}

TEST(SshInvocation, TrimsBlanksOnlyFromTheProgram) {
  const Request request{.settings = {.sshCommand = "/found/ssh"}};
  for (const auto& [original, chosen] :
       {std::pair{" /opt/ssh\t", "/opt/ssh"}, {"/opt/ssh\n", "/opt/ssh\n"}, {"", ""}}) {
    test::setCallersEnvironment({{"SSH_ORIGINAL", original}});
    EXPECT_EQ(sshInvocation(request).program, chosen);
  }
}

}  // namespace
}  // namespace quelto::launcher
