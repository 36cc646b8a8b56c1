#include "platform/resources/keyed_archive.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <vector>

#include "tests/support/new_process.h"

namespace quelto::platform {
namespace {

using namespace std::string_literals;

/// As the platform that has these archives writes them.
const std::string plain =
    "bplist00\xD4\x01\x02\x03\x04\x05\x06\x07\nY$archiverX$versionT$topX$objects_"
    "\x10\x0FNSKeyedArchiver\x12\0\x01\x86"
    "\xA0\xD1\x08\tTroot\x80\x01\xA2\x0B\x0CU$nullUplain\x08\x11\x1B$)"
    "2DILQSV\\\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\r\0\0\0"
    "\0\0\0\0\0\0\0\0\0\0\0\0b"s;
const std::string mutableText =
    "bplist00\xD4\x01\x02\x03\x04\x05\x06\x07\nY$archiverX$versionT$topX$objects_"
    "\x10\x0FNSKeyedArchiver\x12\0\x01\x86"
    "\xA0\xD1\x08\tTroot\x80\x01\xA3\x0B\x0C\x11U$null\xD2\r\x0E\x0F\x10V$classYNS."
    "string\x80\x02Wmutable\xD2\x12\x13\x14"
    "\x15X$classesZ$classname\xA3\x15\x16\x17_\x10\x0FNSMutableStringXNSStringXNSObject\x08\x11\x1B$)2DILQSW]"
    "bisu}\x82"
    "\x8B\x96\x9A\xAC\xB5\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x18\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xBE"s;

std::string replaced(std::string whole, const std::string& from, const std::string& to) {
  return whole.replace(whole.find(from), from.size(), to);
}

std::string xmlArchive(const std::string& objects) {
  return " <?xml version='1.0'?><!DOCTYPE plist><plist><dict><!-- <dict> "
         "--><key>$archiver</key><string>NSKeyedArchiver"
         "</string><key>$version</key><integer>100000</integer><key>$top</key><dict><key>root</key><dict>"
         "<key>CF$UID</key><integer>1</integer></dict></dict><key>$objects</key><array><string>$null</"
         "string>" +
         objects + "</array></dict></plist>";
}

/// A binary property list of these objects, which refer to each other by one byte; the first is on top.
std::string binaryList(const std::vector<std::string>& objects) {
  const auto number = [](std::size_t value) {
    return "\0\0\0\0\0"s + static_cast<char>(value >> 16U) + static_cast<char>(value >> 8U) +
           static_cast<char>(value);
  };
  std::string list = "bplist00";
  std::string table;
  for (const auto& object : objects) {
    table += number(list.size());
    list += object;
  }
  return list + table + "\0\0\0\0\0\0\x08\x01"s + number(objects.size()) + number(0) + number(list.size());
}

/// So many lists, each of which holds the next one so many times.
std::string nested(char depth, char times) {
  std::vector<std::string> objects;
  for (char level = 1; level <= depth; ++level) {
    objects.push_back(static_cast<char>(0xA0 + times) + std::string(static_cast<std::size_t>(times), level));
  }
  objects.emplace_back("\xA0");
  return binaryList(objects);
}

std::string repeated(const std::string& part, int times) {
  return times > 0 ? part + repeated(part, times - 1) : "";
}

TEST(KeyedArchive, GivesTheTextAtItsRootWhateverTheBytes) {
  const auto xmlOfDepth = [](int depth) {
    return xmlArchive("<string>x</string>" + repeated("<array>", depth - 3) +
                      repeated("</array>", depth - 3));
  };
  const struct {
    const char* name;
    std::string bytes;
    std::optional<std::string> found = std::nullopt;
  } rows[] = {
      {"plain", plain, "plain"},
      {"UTF-16", replaced(plain, "Uplain", "\x62\x20\xAC\0an"s),
       "\xE2\x82\xAC"
       "a"},
      {"mutable", mutableText, "mutable"},
      {"XML", xmlArchive("<string>&lt;text&gt;</string>"), "<text>"},
      {"another class", replaced(mutableText, "NSString", "NSStrong")},
      {"a text object without a text", replaced(mutableText, "NS.string", "NS.strong")},
      {"a number", replaced(plain, "Uplain", "\x10lain!")},
      {"no object", replaced(plain, "\x80\x01", "\x80\0"s)},
      {"a place that is missing", replaced(plain, "\x80\x01", "\x80\x02")},
      {"another archiver", replaced(plain, "NSKeyed", "NSOther")},
      {"another version", replaced(plain, "\x86\xA0", "\x86\xA1")},
      {"another first object", replaced(plain, "$null", "$Null")},
      {"no UTF-8", replaced(plain, "Uplain", "Upl\xFFin")},
      {"a packet", "\0\1\0\0\0\x0B\x10\x21\x10\0abcdefbody"s},
      {"nothing", ""},
      {"a beginning", plain.substr(0, 40)},
      {"a table beyond the end", replaced(plain, "\0b"s, "\xFF\xFF")},
      {"an object beyond the table", replaced(plain, "QSV\\", "QSV\xFF")},
      {"the most nodes", xmlArchive("<string>x</string>" + repeated("<true/>", 9000)), "x"},
      {"too many nodes", xmlArchive("<string>x</string>" + repeated("<a/>", 10'000))},
      {"too many bytes", xmlArchive("<string>" + std::string(65'536, 'x') + "</string>")},
      {"the greatest depth", xmlOfDepth(32), "x"},
      {"more depth", xmlOfDepth(33)},
      {"a list that holds itself", binaryList({"\xA1\0"s})},
  };
  for (const auto& row : rows) EXPECT_TRUE(stringInKeyedArchive(row.bytes) == row.found) << row.name;
}

TEST(KeyedArchive, UnfoldsNoReferences) {
  const auto memory = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  // Of one text, and of lists to the 20th power of 2.
  const std::string lists[] = {binaryList({"\xAF\x11\x23\x28" + std::string(9'000, '\1'),
                                           "\x5F\x11\x75\x30" + std::string(30'000, 'x')}),
                               nested(20, 2)};
  for (const auto& list : lists) {
    test::inNewProcess([&] {
      const auto before = memory();
      EXPECT_FALSE(stringInKeyedArchive(list));
      EXPECT_LT(memory() - before, 32 << 10U) << "kilobytes";
    });
  }
}

}  // namespace
}  // namespace quelto::platform
