#include "platform/children/captured_run.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string_view>

#include "platform/children/child_options.h"

namespace quelto::platform {
namespace {

ChildOptions shell(std::string script) {
  return {.program = "/bin/sh", .arguments = {"-c", std::move(script)}, .environment = {}};
}

TEST(CapturedRunTest, TakesWhatTheChildWroteUntilItsEnd) {
  struct Row {
    const char* script;
    std::optional<std::string> output;
  };
  const Row rows[] = {
      {"printf 'a\\n'; printf b", "a\nb"},
      {"printf %s $0", "/bin/sh"},
      {"echo late >/dev/null; exec >&-; exit 0", ""},
      {"printf x; sleep 600 & echo $!", std::nullopt},
      {"yes | head -c 5000000", std::nullopt},
  };
  for (const Row& row : rows) {
    auto options = shell(row.script);
    options.environment = {"PATH=/usr/bin:/bin"};
    CapturedRun run;
    ASSERT_TRUE(run.start(options));
    const auto [status, output] = run.finish(100);
    EXPECT_EQ(status, 0);
    if (std::string_view(row.script).starts_with("printf x")) {
      ASSERT_TRUE(output && output->starts_with('x'));
      ::kill(std::stoi(output->substr(1)), SIGKILL);
    } else {
      EXPECT_EQ(output, row.output) << row.script;
    }
  }
  EXPECT_FALSE(CapturedRun().start({.program = "", .arguments = {}, .environment = {}}));
}

}  // namespace
}  // namespace quelto::platform
