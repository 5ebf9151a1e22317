#include "linux/frameworks/Security/KeyStoreLock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace vorn::frameworks {
namespace {

constexpr auto kPatience = std::chrono::seconds(2);
constexpr auto kPause = std::chrono::milliseconds(10);

// Where SQLite's file format has its locks: a writer takes the whole range for itself.
constexpr off_t kLockStart = 0x40000000;
constexpr off_t kLockLength = 512;

/** Never closed: that would drop the locks that SQLite itself has on the same files. */
std::vector<int>& watchedFiles() {
  static auto* const files = new std::vector<int>;
  return *files;
}

bool isHeld(int file) {
  struct flock reading {};
  reading.l_type = F_RDLCK;
  reading.l_whence = SEEK_SET;
  reading.l_start = kLockStart + 2;  // behind the bytes of those who only intend to write
  reading.l_len = kLockLength - 2;
  return fcntl(file, F_GETLK, &reading) == 0 && reading.l_type == F_WRLCK;
}

}  // namespace

void watchKeyStore(const std::filesystem::path& folder) {
  for (const char* name : {"cert9.db", "key4.db"})
    if (const int file = open((folder / name).c_str(), O_RDONLY | O_CLOEXEC); file >= 0)
      watchedFiles().push_back(file);
}

bool waitForKeyStore() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  const auto& files = watchedFiles();
  while (std::any_of(files.begin(), files.end(), isHeld)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

std::vector<std::int64_t> keyStoreState() {
  std::vector<std::int64_t> state;
  for (const int file : watchedFiles()) {
    struct stat status {};
    fstat(file, &status);
    state.insert(state.end(), {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
  }
  return state;
}

}  // namespace vorn::frameworks
