#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

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

}  // namespace quelto::test
