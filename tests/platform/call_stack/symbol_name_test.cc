#include "platform/call_stack/symbol_name_signal.h"

#include <gtest/gtest.h>

#include <string>

namespace quelto::platform {
namespace {

TEST(SymbolName, HasItsScopesJoinedByDots) {
  const std::string tooLong = "_Z" + std::string(maximumSymbolLength, 'P');
  const struct {
    std::string symbol;
    std::string shown;
  } rows[] = {
      {"main", "main"},
      {"Module.Type.method(label:)", "Module.Type.method(label:)"},
      {"_Znonsense", "_Znonsense"},
      {tooLong, tooLong},
      {"_ZN6quelto8launcher6runSshERNS0_13ProcessValuesE",
       "quelto.launcher.runSsh(quelto::launcher::ProcessValues&)"},
      {"_ZN6quelto8launcher12_GLOBAL__N_116waitWhileServingEv", "quelto.launcher.waitWhileServing()"},
      {"_ZN6quelto8launcher4TaskC2Ei", "quelto.launcher.Task.Task(int)"},
      {"_ZN6quelto8launcher4TaskD1Ev", "quelto.launcher.Task.~Task()"},
      {"_ZNK6quelto8launcher4TaskltERKS1_",
       "quelto.launcher.Task.operator<(quelto::launcher::Task const&) const"},
      {"_ZN6quelto8launcherltIiEEbT_NS0_4TaskE",
       "quelto.launcher.operator<<int>(int, quelto::launcher::Task)"},
      {"_ZNK6quelto8launcher4TasklsIiEET_S3_", "quelto.launcher.Task.operator<<<int>(int) const"},
      {"_ZN6quelto8launcher4TaskptEv", "quelto.launcher.Task.operator->()"},
      {"_ZN6quelto8launcher4TaskptIiEEvT_", "quelto.launcher.Task.operator-><int>(int)"},
      {"_ZNK6quelto8launcher4TaskclEi", "quelto.launcher.Task.operator()(int) const"},
      {"_ZNK6quelto8launcher4TaskixEi", "quelto.launcher.Task.operator[](int) const"},
      {"_ZN6quelto8launcher4TasknaEm", "quelto.launcher.Task.operator_new[](unsigned long)"},
      {"_ZNK6quelto8launcher4TaskcvbEv", "quelto.launcher.Task.operator_bool() const"},
      {"_ZNK6quelto8launcher4Task3allImEESt6vectorIT_SaIS4_EEPKcS4_",
       "quelto.launcher.Task.all<unsigned_long>(char const*, unsigned long) const"},
      {"_ZZN6quelto8launcher4Task2goEvENKUliPKcE_clEiS3_",
       "quelto.launcher.Task.go()::{lambda(int,char_const*)#1}::operator()(int, char const*) const"},
      {"_ZNK6quelto8launcher4TaskcvSt4pairIiiEEv",
       "quelto.launcher.Task.operator_std::pair<int,int>() const"},
      {"_ZZNK6quelto8launcher4TaskclEvENKUlvE_clEv",
       "quelto.launcher.Task.operator()()_const::{lambda()#1}::operator()() const"},
      {"_ZN6quelto8launcher8operatedEv", "quelto.launcher.operated()"},
  };
  for (const auto& row : rows) EXPECT_EQ(_stdlib_demangleName(row.symbol).view(), row.shown) << row.symbol;
}

}  // namespace
}  // namespace quelto::platform
