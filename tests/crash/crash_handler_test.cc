#include "crash/crash_handler_signal.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace quelto::crash {
namespace {

std::optional<std::string> reduced(const std::string& line, bool withParent = false) {
  const auto found = CrashHandler::classAndMethodForStackSymbol(line, withParent);
  if (!found) return std::nullopt;
  return std::string(found->className.view()) + "|" + std::string(found->method.view());
}

TEST(StackSymbol, IsReducedToClassAndMethod) {
  const struct {
    const char* name;
    std::string line;
    std::optional<std::string> expected;
    bool withParent = false;
  } rows[] = {
      {"three words", "0 tool 0x1", std::nullopt},
      {"nothing", "", std::nullopt},
      {"no scope", "0   tool  0x1 main + 12", std::nullopt},
      {"unknown function", "0 tool 0x1 0x55d0 + 12", std::nullopt},
      {"four words", "0 tool 0x1 Module.Type.method(label:)", "Type|method(label:)"},
      {"any white space", "0\ttool\n \r0x1\v\fModule.Type.method(label:) +\t12", "Type|method(label:)"},
      {"no bracket at the end", "0 tool 0x1 Type.method + 12", "Type|method)"},
      {"a blank in the brackets", "0 tool 0x1 _ZN6quelto2ui5Alert4showEil + 12", "Alert|show(int,)"},
      {"an unnamed namespace", "0 tool 0x1 _ZN6quelto8launcher12_GLOBAL__N_14waitEv + 1", "launcher|wait()"},
      {"a scope in the brackets", "0 tool 0x1 _ZN6quelto8launcher6runSshERNS0_13ProcessValuesE + 12",
       "launcher|runSsh(quelto::launcher::ProcessValues&)"},
      {"four parts with the parent", "0 tool 0x1 a.b.c.d()", "b.c|d()", true},
      {"three parts have none", "0 tool 0x1 a.b.c()", "b|c()", true},
      {"empty parts", "0 tool 0x1 ..", "|)"},
      {"a blank first", " 0 tool 0x1 a.b", std::nullopt},
  };
  for (const auto& row : rows) EXPECT_EQ(reduced(row.line, row.withParent), row.expected) << row.name;
}

}  // namespace
}  // namespace quelto::crash
