#include "platform/bundle/bundle.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

TEST(Bundle, FindsResourcesFromTheExecutable) {
  const test::TemporaryFolder folder;
  folder.write("app/Contents/Resources/helper", "");
  folder.write("bin/helper", "");
  for (const auto& [executable, resources] :
       {std::pair{"app/Contents/Resources/tool", "app/Contents/Resources"},
        {"app/Contents/MacOS/deep/tool", "app/Contents/Resources"},
        {"bin/tool", "bin"}}) {
    const Bundle bundle(folder.path(executable));
    EXPECT_EQ(bundle.pathForResource("helper"), folder.path(resources) + "/helper") << executable;
    EXPECT_EQ(bundle.pathForResource("missing"), std::nullopt) << executable;
  }
}

TEST(Bundle, OfAnUnknownExecutableIsEmpty) {
  const Bundle bundle("");
  EXPECT_EQ(bundle.executablePath(), std::nullopt);
  EXPECT_EQ(bundle.pathForResource("etc"), std::nullopt);
}

}  // namespace
}  // namespace quelto::platform
