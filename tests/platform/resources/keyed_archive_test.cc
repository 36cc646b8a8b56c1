#include "platform/resources/keyed_archive.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/support/new_process.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

using namespace std::string_literals;

/// One of the fuzzer's; the binary archives are as the platform that has these writes them.
std::string sample(const std::string& name) { return test::contentOf(KEYED_ARCHIVES "/" + name); }

std::string replaced(std::string whole, const std::string& from, const std::string& to) {
  return whole.replace(whole.find(from), from.size(), to);
}

std::string repeated(const std::string& part, int times) {
  return times > 0 ? part + repeated(part, times - 1) : "";
}

TEST(KeyedArchive, GivesTheTextAtItsRoot) {
  const std::string plain = sample("plain");
  const std::string mutableText = sample("mutable");
  const auto withXml = [](const std::string& end) {
    return replaced(sample("plain_xml"), "</array>", end + "</array>");
  };
  const auto ofDepth = [&](int depth) {
    return withXml(repeated("<array>", depth - 3) + repeated("</array>", depth - 3));
  };
  const struct {
    const char* name;
    std::string bytes;
    std::optional<std::string> found = std::nullopt;
  } rows[] = {
      {"plain", plain, "plain"},
      {"UTF-16", sample("utf16"), "\u20AC\U0001F600"},
      {"mutable", mutableText, "mutable"},
      {"plain in XML", sample("plain_xml"), "<plain>"},
      {"mutable in XML", sample("mutable_xml"), "mutable"},
      {"another class", replaced(mutableText, "NSString", "NSStrong")},
      {"an object without a text", replaced(mutableText, "NS.string", "NS.strong")},
      {"no text", sample("other_values")},
      {"no object", replaced(plain, "\x80\x01", "\x80\0"s)},
      {"a place that is missing", replaced(plain, "\x80\x01", "\x80\x02")},
      {"a place beyond 32 bits",
       replaced(sample("plain_xml"), "<integer>1</integer>", "<integer>4294967297</integer>")},
      {"another archiver", replaced(plain, "NSKeyed", "NSOther")},
      {"another version", replaced(plain, "\x86\xA0", "\x86\xA1")},
      {"no UTF-8", replaced(plain, "Uplain", "Upl\xFFin")},
      {"a packet", sample("packet")},
      {"a beginning", plain.substr(0, 40)},
      {"a table beyond the end", replaced(plain, "\0b"s, "\xFF\xFF")},
      {"more objects than the table has", plain.substr(0, plain.size() - 24) + std::string(8, '\x7F') +
                                              std::string(8, '\x7E') + plain.substr(plain.size() - 8)},
      {"an object beyond the table", replaced(plain, "QSV\\", "QSV\xFF")},
      {"many nodes", withXml(repeated("<true/>", 9000)), "<plain>"},
      {"too many nodes", withXml(repeated("<a/>", 10'000))},
      {"too many bytes", withXml("<string>" + std::string(65'536, 'x') + "</string>")},
      {"the greatest depth", ofDepth(32), "<plain>"},
      {"more depth", ofDepth(33)},
      {"more depth in a binary one", sample("deep")},
  };
  for (const auto& row : rows) EXPECT_TRUE(stringInKeyedArchive(row.bytes) == row.found) << row.name;
}

TEST(KeyedArchive, UnfoldsNoReferences) {
  const auto kilobytes = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  for (const char* name : {"shared_text", "shared_lists", "cycle"}) {
    test::inNewProcess([&] {
      const auto before = kilobytes();
      EXPECT_FALSE(stringInKeyedArchive(sample(name)));
      EXPECT_LT(kilobytes() - before, 32 << 10U) << name;
    });
  }
}

}  // namespace
}  // namespace quelto::platform
