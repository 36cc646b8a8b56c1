#include "platform/resources/info_dictionary.h"

#include <gtest/gtest.h>

#include "platform/bundle/bundle.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

TEST(InfoDictionary, HasTextsOfAListThatCanBeRead) {
  const test::TemporaryFolder folder;
  for (const auto& [list, tool] : {std::pair{"app/Contents/Info.plist", "app/Contents/Resources/tool"},
                                   {"bin/Info.plist", "bin/tool"}}) {
    folder.write(
        list,
        "<plist version=\"1.0\"><dict><key>CFBundleName</key><string>K\u00F6nig</string>"
        "<key>CFBundleIdentifier</key><string>a.b.c</string><key>N</key><integer>1</integer></dict></plist>");
    const Bundle bundle(folder.path(tool));
    EXPECT_EQ(infoText(bundle, "CFBundleName"), "K\u00F6nig") << tool;
    EXPECT_EQ(bundleIdentifier(bundle), "a.b.c") << tool;
    for (const char* noText : {"N", "missing"}) EXPECT_EQ(infoText(bundle, noText), std::nullopt);
  }
  EXPECT_EQ(bundleIdentifier(Bundle("")), std::nullopt);
  for (const char* wrong : {"", "garbage", "<plist><array/></plist>", "<plist><dict><key>CFBundleName</key>",
                            "bplist00\xD1\x01\x02\xFF\xFF\xFF"}) {
    folder.write("bin/Info.plist", wrong);
    EXPECT_EQ(infoText(Bundle(folder.path("bin/tool")), "CFBundleName"), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace quelto::platform
