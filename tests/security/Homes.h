#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "linux/frameworks/CoreFoundation/CFObject.h"

namespace security_test {

using vorn::frameworks::Object;

inline std::string homeFolder(const std::string& name) {
  return VORN_TEST_FILES "/homes/" + name;
}

/**
 * Runs `body` in a process of its own with that home folder, since a process opens one key database in its
 * life. Its expectations count as the test's.
 */
inline void inHome(const std::string& home, const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_DATA_HOME");
    const std::size_t before = Object::liveCount();
    body();
    EXPECT_EQ(Object::liveCount(), before);
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // not _exit: a leak checker works at the end
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

}  // namespace security_test
