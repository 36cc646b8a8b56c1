#include "platform/bundle/bundle.h"

#include <gtest/gtest.h>

#include "platform/resources/info_dictionary.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

TEST(BundleTest, FindsResourcesAndInfo) {
  const test::TemporaryFolder folder;
  folder.write("app/Contents/Resources/helper", "");
  folder.write(
      "app/Contents/Info.plist",
      "<plist version=\"1.0\"><dict><key>CFBundleName</key><string>K\xC3\xB6nig</string>"
      "<key>CFBundleIdentifier</key><string>a.b.c</string><key>N</key><integer>1</integer></dict></plist>");
  for (const char* executable : {"/app/Contents/Resources/tool", "/app/Contents/MacOS/deep/tool"}) {
    const Bundle bundle(folder.path() + executable);
    EXPECT_EQ(bundle.pathForResource("helper"), folder.path("app/Contents/Resources/helper"));
    EXPECT_EQ(bundle.pathForResource("missing"), std::nullopt);
    EXPECT_EQ(infoText(bundle, "CFBundleName"), "K\u00F6nig");
    EXPECT_EQ(bundleIdentifier(bundle), "a.b.c");
    EXPECT_EQ(infoText(bundle, "N"), std::nullopt) << "no text";
    EXPECT_EQ(infoText(bundle, "missing"), std::nullopt);
  }
}

TEST(BundleTest, WithoutContentsTheProgramsFolderHoldsBoth) {
  const test::TemporaryFolder folder;
  folder.write("bin/helper", "");
  for (const char* info : {"", "garbage", "<plist><array/></plist>", "<plist><dict><key>CFBundleName</key>",
                           "bplist00\xD1\x01\x02\xFF\xFF\xFF"}) {
    folder.write("bin/Info.plist", info);
    const Bundle bundle(folder.path("bin/tool"));
    EXPECT_EQ(bundle.pathForResource("helper"), folder.path("bin/helper"));
    EXPECT_EQ(infoText(bundle, "CFBundleName"), std::nullopt) << info;
  }
}

TEST(BundleTest, OfAnUnknownExecutableIsEmpty) {
  const Bundle bundle("");
  EXPECT_EQ(bundle.executablePath(), std::nullopt);
  EXPECT_EQ(bundle.pathForResource("etc"), std::nullopt);
  EXPECT_EQ(bundleIdentifier(bundle), std::nullopt);
}

}  // namespace
}  // namespace quelto::platform
