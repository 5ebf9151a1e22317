#include <filesystem>
#include <iostream>
#include <system_error>

#include "linux/keys/StorePlaces.h"
#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {

namespace fs = std::filesystem;

int runConfirm(const ConfirmOptions& options) {
  const std::vector<fs::path> files = keys::confirmationFiles();
  const fs::path& file = options.forAll ? files.front() : files.back();
  try {
    if (options.state == "on") {
      fs::create_directories(file.parent_path());
      constexpr mode_t kForAll = 0644;
      writeFileAtomically(file, "Every request to sign is confirmed as long as this file is here.\n",
                          {.mode = kForAll});
    } else if (options.state == "off") {
      fs::remove(file);
    }
  } catch (const std::system_error& e) {
    std::cerr << "vornctl: " << printable(file.string()) << ": " << printable(e.code().message())
              << (options.forAll ? "; use sudo" : "") << "\n";
    return kExitProblems;
  }
  const std::vector<fs::path> present = keys::presentConfirmationFiles();
  std::cout << (present.empty() ? "Keys without a PIN sign without a question."
                                : "Every request to sign is confirmed.")
            << "\n";
  for (const fs::path& reason : present) std::cout << "  " << printable(reason.string()) << "\n";
  return kExitFine;
}

}  // namespace vorn::vornctl
