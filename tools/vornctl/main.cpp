#include <exception>
#include <iostream>

#include "vornctl/CommandLine.h"
#include "vornctl/Commands.h"

int main(int count, char** arguments) {
  try {
    return vornctl::runCommandLine(count, arguments);
  } catch (const std::exception& e) {
    std::cerr << "vornctl: " << e.what() << "\n";
    return vornctl::kProblems;
  }
}
