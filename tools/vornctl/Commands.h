#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vornctl/Registration.h"

/** What the subcommands do, once the command line has been read. Each returns the exit status. */
namespace vornctl {

inline constexpr int kFine = 0;
inline constexpr int kProblems = 1;
inline constexpr int kUsage = 2;

struct RegisterOptions {
  RegistrationRequest request = {};
  std::vector<std::string> extensionIds = {};
  std::string host = {}; /**< empty for the one that is installed with vornctl */
  std::string root = "/";
  System system = buildSystem();
};

int runRegister(const RegisterOptions& options);
int runUnregister(const RegisterOptions& options);

}  // namespace vornctl
