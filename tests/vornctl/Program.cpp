#include "vornctl/Program.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

/** The programs in a folder as an installation makes it: the doctor does not trust one that belongs to
 * somebody else. */
class Installation {
 public:
  Installation() {
    std::string pattern = (fs::temp_directory_path() / "vorn-installed-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    for (const char* file : {VORNCTL, VORN_HOST, VORN_HOST "-module.so", VORN_HOST "-keys"})
      fs::copy(file, folder_);
    fs::copy(fs::path(VORN_HOST).replace_filename("vorn-key-files.so"), folder_);
  }
  ~Installation() { fs::remove_all(folder_); }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  std::string path(const char* name) const { return folder_ / name; }

 private:
  fs::path folder_;
};

}  // namespace

Result run(const e2e::Home& home, const std::string& commandLine) {
  static const Installation installed;
  const std::string command = "cd " + home.path().string() +
                              " && exec 2>&1 && env -i HOME=" + home.path().string() +
                              " PATH=\"$PATH\" vornctl=" + installed.path("vornctl") +
                              " host=" + installed.path("vorn-signing") + " bash -c '" + commandLine + "'";
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
