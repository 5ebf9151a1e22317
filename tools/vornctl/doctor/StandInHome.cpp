#include "vornctl/doctor/StandInHome.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <system_error>

extern char** environ;

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kHome = "HOME=";
constexpr const char* kNowhere = "/nonexistent";

}  // namespace

StandInHome::StandInHome(const fs::path& home) : home_(home), folder_(kNowhere) {
  std::error_code failure;
  std::string pattern = (fs::temp_directory_path(failure) / "vornctl-XXXXXX").string();
  if (failure || mkdtemp(pattern.data()) == nullptr) return;
  folder_ = pattern;
  for (const auto& entry : fs::directory_iterator(home_, failure))
    if (const fs::path name = entry.path().filename(); name != "vorn-signing.log")
      fs::create_symlink(entry.path(), folder_ / name, failure);
}

StandInHome::~StandInHome() {
  std::error_code failure;
  if (folder_ != kNowhere) fs::remove_all(folder_, failure);
}

std::vector<std::string> StandInHome::environment() const {
  std::vector<std::string> variables = {std::string(kHome) + folder_.string()};
  for (char** variable = environ; *variable != nullptr; ++variable)
    if (!std::string_view(*variable).starts_with(kHome)) variables.emplace_back(*variable);
  return variables;
}

std::string StandInHome::withoutTrace(std::string text) const {
  for (std::size_t at = 0; (at = text.find(folder_.string(), at)) != std::string::npos;
       at += home_.string().size())
    text.replace(at, folder_.string().size(), home_.string());
  return text;
}

}  // namespace vorn::vornctl
