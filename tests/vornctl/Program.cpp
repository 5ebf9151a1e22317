#include "vornctl/Program.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

namespace vorn::vornctl {

Result run(const e2e::Home& home, const std::string& commandLine) {
  const std::string command =
      "cd " + home.path().string() + " && exec 2>&1 && env -i HOME=" + home.path().string() +
      " PATH=\"$PATH\" vornctl=" VORNCTL " host=" VORN_HOST " bash -c '" + commandLine + "'";
  FILE* const pipe = popen(command.c_str(), "r");
  Result result{};
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe))
    result.output.append(buffer, count);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

nlohmann::json runForJson(const e2e::Home& home, const std::string& arguments, int expectedStatus) {
  const Result result = run(home, "$vornctl " + arguments);
  EXPECT_EQ(result.status, expectedStatus) << result.output;
  return nlohmann::json::parse(result.output);
}

}  // namespace vorn::vornctl
