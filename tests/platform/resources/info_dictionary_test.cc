#include "platform/resources/info_dictionary.h"

#include <gtest/gtest.h>

#include "platform/bundle/bundle.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

TEST(InfoDictionary, HasTexts) {
  const test::TemporaryFolder folder;
  const std::string info =
      "<plist version=\"1.0\"><dict><key>CFBundleName</key><string>K\u00F6nig</string>"
      "<key>CFBundleIdentifier</key><string>a.b.c</string><key>N</key><integer>1</integer></dict></plist>";
  folder.write("app/Contents/Info.plist", info);
  folder.write("bin/Info.plist", info);
  for (const char* executable : {"app/Contents/Resources/tool", "bin/tool"}) {
    const Bundle bundle(folder.path(executable));
    EXPECT_EQ(infoText(bundle, "CFBundleName"), "K\u00F6nig") << executable;
    EXPECT_EQ(bundleIdentifier(bundle), "a.b.c") << executable;
    EXPECT_EQ(infoText(bundle, "N"), std::nullopt) << "no text";
    EXPECT_EQ(infoText(bundle, "missing"), std::nullopt);
  }
}

TEST(InfoDictionary, ThatCannotBeReadHasNone) {
  const test::TemporaryFolder folder;
  EXPECT_EQ(bundleIdentifier(Bundle("")), std::nullopt);
  for (const char* info : {"", "garbage", "<plist><array/></plist>", "<plist><dict><key>CFBundleName</key>",
                           "bplist00\xD1\x01\x02\xFF\xFF\xFF"}) {
    folder.write("bin/Info.plist", info);
    EXPECT_EQ(infoText(Bundle(folder.path("bin/tool")), "CFBundleName"), std::nullopt) << info;
  }
}

}  // namespace
}  // namespace quelto::platform
