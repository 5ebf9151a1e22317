#include <log4cplus/logger.h>

#include <exception>
#include <iostream>

#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"

int main(int count, char** arguments) {
  try {
    // The code that this program has in common with the host logs; here nobody has asked for a log.
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return vorn::vornctl::runCommandLine(count, arguments);
  } catch (const std::exception& e) {
    std::cerr << "vornctl: " << vorn::vornctl::printable(e.what()) << "\n";
    return vorn::vornctl::kExitProblems;
  }
}
