#pragma once

#include <log4cplus/helpers/loglog.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "signing/TestIdentity.h"

/** To be called first by a fuzzer that signs. */
inline void startWithIdentity() {
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  const std::string folder = std::filesystem::temp_directory_path() / ("fuzz-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  makeIdentity(folder, "-newkey rsa:1024 -addext keyUsage=digitalSignature");
  std::filesystem::remove_all(folder);
}
