#include "launcher/start_up.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <map>
#include <thread>

#include "launcher/forwarding_signal.h"
#include "launcher/ssh_run.h"
#include "platform/bundle/bundle.h"
#include "tests/support/temporary_folder.h"
#include "ui/localized_strings.h"

namespace quelto::launcher {
namespace {

using testing::ElementsAre;

/// The environment of one test; the variables that the tool knows and that are not named are not set.
void setEnvironment(const std::map<std::string, std::string>& environment) {
  for (const char* name : {"AUTH_LANGUAGE", "SSH_TUNNEL", "AUTH_KEYCHAIN", "SSH_APPGROUP", "SSH_ORIGINAL",
                           "SHELL", "SSH_AUTH_SOCK", "LOGNAME", "HOME"}) {
    const auto value = environment.find(name);
    value == environment.end() ? ::unsetenv(name) : ::setenv(name, value->second.c_str(), 1);
  }
}

TEST(StartUp, KnowsWhereItStands) {
  ProcessValues values;
  startUp(values, Mode::wrapper);
  const std::string executable = platform::Bundle::mainBundle().executablePath().value();
  EXPECT_EQ(values.resourceUrl + "/launcher_test", executable);
  EXPECT_THAT(values.mainExecutable.value(), testing::EndsWith("/Contents/MacOS/quelto"));
  EXPECT_EQ(values.full_version, "2.4.3.7086");
}

TEST(ReadRequest, TakesTheEnvironmentAsItStands) {
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
    setEnvironment(row.environment);
    ProcessValues values;
    const std::vector<std::string> words{"-Z", "from.option", "-l", "x", "-p", "5", "bob@host:7"};
    readRequest(values, words);
    EXPECT_EQ(values.group_Id, row.group);
    EXPECT_EQ(values.identifyFile, row.keychain);
    EXPECT_EQ(values.username, "bob") << "the destination wins";
    EXPECT_EQ(values.port, 7);
    EXPECT_EQ(values.sshCommand, "/usr/bin/ssh");
  }
}

TEST(ChildEnvironment, HoldsExactlyTheListedVariablesInOrder) {
  setEnvironment({{"HOME", "/h"}, {"LOGNAME", "l"}, {"SSH_AUTH_SOCK", "/s"}, {"SSH_TUNNEL", "yes"}});
  ui::globalCustomLanguage = "ja";
  ProcessValues values;
  values.group_Id = "a.group";
  values.loginName = "me";
  values.identifyFile = "/k";
  values.username = "bob";
  values._host = "host";
  values.port = -5;
  EXPECT_THAT(childEnvironment(values),
              ElementsAre("LC_ALL=en_US.UTF-8", "LANG=en_US.UTF-8", "DISPLAY=NONE", "AUT_APPGROUP=a.group",
                          "USER=me", "AUTH_KEYCHAIN=/k", "AUTH_LANGUAGE=ja", "SSH_USER=bob", "SSH_HOST=host",
                          "SSH_PORT=-5", "SSH_AUTH_SOCK=/s", "LOGNAME=l", "HOME=/h"));
  values.port = 0;
  setEnvironment({});
  EXPECT_THAT(childEnvironment(values), testing::Contains("SSH_PORT=22"));
  EXPECT_THAT(childEnvironment(values), testing::SizeIs(10));
}

TEST(ChooseSshProgram, TrimsBlanksOnly) {
  for (const auto& [original, chosen] :
       {std::pair{" /opt/ssh\t", "/opt/ssh"}, {"/opt/ssh\n", "/opt/ssh\n"}, {"", ""}}) {
    setEnvironment({{"SSH_ORIGINAL", original}});
    ProcessValues values;
    values.sshCommand = "/found/ssh";
    chooseSshProgram(values);
    EXPECT_EQ(values.sshCommand, chosen);
  }
}

TEST(RunSsh, WaitsForBackgroundWorkAndLeavesTheSignalsAtTheirDefault) {
  ProcessValues values;
  values.sshCommand = "/bin/sh";
  const test::TemporaryFolder folder;
  values.arguments = {"-c", "until [ -e " + folder.path("go") + " ]; do :; done; exit 7"};
  values.finish.emplace(0);
  std::atomic<bool> isDone = false;
  std::jthread worker([&] {
    struct sigaction action {};
    do {
      ::sigaction(SIGTERM, nullptr, &action);
    } while (action.sa_handler != signalReceived);
    folder.write("go", "");
    do {
      ::sigaction(SIGINT, nullptr, &action);
    } while (action.sa_handler != SIG_DFL);
    isDone = true;
    values.finish->signal();
  });
  EXPECT_EQ(runSsh(values), 7);
  EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace quelto::launcher
