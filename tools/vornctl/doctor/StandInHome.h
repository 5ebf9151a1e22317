#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::vornctl {

/**
 * A temporary folder with everything that the user's home folder has, as links, but for the host's log: a
 * host that runs in it meets the user's key stores, and leaves no trace in the user's log.
 */
class StandInHome {
 public:
  explicit StandInHome(const std::filesystem::path& home);
  ~StandInHome();
  StandInHome(const StandInHome&) = delete;
  StandInHome& operator=(const StandInHome&) = delete;

  /** This program's environment, but with this folder for the home; of the form NAME=value. */
  std::vector<std::string> environment() const;
  /** The text with the name of the home in the place of this folder's. */
  std::string withoutTrace(std::string text) const;

 private:
  std::filesystem::path home_;
  std::filesystem::path folder_; /**< one that does not exist where none can be made */
};

}  // namespace vorn::vornctl
