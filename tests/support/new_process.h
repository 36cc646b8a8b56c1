#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/processes.h"

namespace quelto::test {

/// A process in which nothing is loaded yet, and which has no terminal to ask on. It ends with 0 when no
/// expectation failed in the function.
template <typename Function>
[[nodiscard]] pid_t newProcess(Function function) {
  return inChild([&function] {
    ::setsid();
    function();
    return testing::Test::HasFailure() ? 1 : 0;
  });
}

/// Waits for one.
template <typename Function>
void inNewProcess(Function function) {
  EXPECT_EQ(exitStatusOf(newProcess(function)), 0);
}

/// Whether `holds` is true in a child that is no root. A root's test gives the folder, with all in it, away
/// to an ordinary user first and becomes that user in the child.
template <typename Test>
[[nodiscard]] bool holdsAsOrdinaryUser(const std::string& folder, Test holds) {
  constexpr uid_t ordinary = 65534;
  const bool isRoot = ::geteuid() == 0;
  if (isRoot && std::system(("chown -hR " + std::to_string(ordinary) + " " + folder).c_str()) != 0)
    return false;
  return exitStatusOf(inChild([&] {
           const bool isOrdinary = !isRoot || ::setresuid(ordinary, ordinary, ordinary) == 0;
           return isOrdinary && holds() ? 0 : 1;
         })) == 0;
}

}  // namespace quelto::test
