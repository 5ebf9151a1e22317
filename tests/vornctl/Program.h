#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "e2e/Home.h"

namespace vorn::vornctl {

struct Result {
  int status;
  std::string output; /**< standard output and standard error as they came */
};

/** Runs a command line of the shell, in which $vornctl is the program, in the home. */
Result run(const e2e::Home& home, const std::string& commandLine);

/** Runs vornctl with these arguments, the last of which asks for JSON. */
nlohmann::json runForJson(const e2e::Home& home, const std::string& arguments, int expectedStatus);

}  // namespace vorn::vornctl
