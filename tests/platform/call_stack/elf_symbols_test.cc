#include "platform/call_stack/elf_symbols_signal.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>

#include <filesystem>

#include "platform/files/unique_fd.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {

/// Not in an unnamed namespace, so that every compiler names it alike.
[[gnu::noinline]] int functionToBeFound(int number) { return number * 3; }

namespace {

TEST(ElfSymbols, AreThoseOfTheFileThatIsLoaded) {
  const auto function = reinterpret_cast<std::uintptr_t>(&functionToBeFound);
  dl_find_object found{};
  ASSERT_EQ(_dl_find_object(reinterpret_cast<void*>(function), &found), 0);
  const LoadedImage image{.header = found.dlfo_map_start, .bias = found.dlfo_link_map->l_addr};
  const std::string program = test::contentOf("/proc/self/exe");
  std::string rebuilt = program;
  // Behind the file's header, which a build with other sources may have in common.
  rebuilt[900] = static_cast<char>(rebuilt[900] ^ 1);
  const struct {
    const char* name;
    std::string content;
    std::string expected;
  } rows[] = {
      {"the program", program, "_ZN6quelto8platform17functionToBeFoundEi"},
      {"another build", rebuilt, ""},
      {"cut behind its beginning", program.substr(0, 4096), ""},
      {"cut in its header", program.substr(0, 20), ""},
      {"empty", "", ""},
  };
  const test::TemporaryFolder folder;
  for (const auto& row : rows) {
    const UniqueFd file(::open(folder.write(row.name, row.content).c_str(), O_RDONLY | O_CLOEXEC));
    const Symbol symbol = symbolInFile(file.get(), image, function + 1);
    EXPECT_EQ(symbol.name.view(), row.expected) << row.name;
    EXPECT_EQ(symbol.offset, row.expected.empty() ? 0 : 1) << row.name;
  }
  EXPECT_EQ(symbolInFile(-1, image, function).name.view(), "");
}

}  // namespace
}  // namespace quelto::platform
