// Work done by several processes at once, for tests of what files promise
// when two writers meet. For tests only.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

namespace cuadrante::testing {

// Runs `work(i)` in `count` forked children at once and waits for all of
// them. Succeeds when every child's work returned true; a child that returned
// false, raised or died is named in the failure.
inline ::testing::AssertionResult InChildren(int count, const std::function<bool(int)>& work) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) {
    const pid_t child = ::fork();
    if (child < 0) return ::testing::AssertionFailure() << "fork " << i << " failed";
    if (child == 0) {
      bool ok = false;
      try {
        ok = work(i);
      } catch (...) {
      }
      ::_exit(ok ? 0 : 1);
    }
    children.push_back(child);
  }
  ::testing::AssertionResult result = ::testing::AssertionSuccess();
  for (size_t i = 0; i < children.size(); ++i) {
    int status = 0;
    if (::waitpid(children[i], &status, 0) != children[i] || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0)
      result = ::testing::AssertionFailure()
               << "child " << i << " failed (status " << status << ")";
  }
  return result;
}

}  // namespace cuadrante::testing
