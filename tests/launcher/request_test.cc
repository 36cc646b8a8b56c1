#include "launcher/request.h"

#include <gtest/gtest.h>

#include "tests/launcher/caller_environment.h"

namespace quelto::launcher {
namespace {

const std::vector<std::string> words{"-Z", "from.option", "-l", "x", "-p", "5", "bob@host:7", "svnserve"};

TEST(ReadRequest, TakesTheEnvironmentUnchangedButForTheGroup) {
  struct Row {
    std::map<std::string, std::string> environment;
    std::string group;
    std::string keychain;
  };
  const Row rows[] = {
      {{{"AUTH_KEYCHAIN", " /k "}}, "from.option", " /k "},
      {{{"AUTH_KEYCHAIN", ""}, {"SSH_APPGROUP", ""}}, "", ""},
      {{{"AUTH_KEYCHAIN", "k"}, {"SSH_APPGROUP", " a.b\n"}}, "a.b", "k"},
  };
  for (Row row : rows) {
    row.environment.insert({"SHELL", "/bin/false"});
    test::setCallersEnvironment(row.environment);
    const Request request = readRequest(words).value();
    EXPECT_EQ(request.group_Id, row.group);
    EXPECT_EQ(request.identifyFile, row.keychain);
    EXPECT_EQ(request._host, "host");
    EXPECT_EQ(request.settings.username, "bob") << "the destination wins";
    EXPECT_EQ(request.settings.port, 7);
    EXPECT_EQ(request.settings.sshCommand, "/usr/bin/ssh");
    EXPECT_EQ(request.command, std::vector<std::string>{"svnserve"});
  }
}

}  // namespace
}  // namespace quelto::launcher
