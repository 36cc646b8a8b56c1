#include "launcher/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/bundle/bundle.h"

namespace quelto::launcher {
namespace {

TEST(ThisProgram, KnowsItsFoldersAndVersion) {
  const Program program = thisProgram();
  const std::string executable = platform::Bundle::mainBundle().executablePath().value();
  EXPECT_EQ(program.resourceUrl + "/launcher_test", executable);
  EXPECT_THAT(program.mainExecutable.value(), testing::EndsWith("/Contents/MacOS/quelto"));
  EXPECT_EQ(program.full_version, "2.4.3.7086");
}

}  // namespace
}  // namespace quelto::launcher
