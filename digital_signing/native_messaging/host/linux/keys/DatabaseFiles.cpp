#include "linux/keys/DatabaseFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <system_error>

#include "linux/keys/StorePlaces.h"
#include "shared/base/Waiting.h"

namespace vorn::keys {
namespace {

constexpr auto kWriterPatience = std::chrono::seconds(2);
constexpr off_t kLargest = off_t{1} << 30;
constexpr auto kPause = std::chrono::milliseconds(10);

// SQLite locks these bytes of its file: a writer takes the whole range for itself.
constexpr off_t kLockStart = 0x40000000;
constexpr off_t kLockLength = 512;

bool isFileHeld(int file) {
  if (file < 0) return false;
  struct flock reading{};
  reading.l_type = F_RDLCK;
  reading.l_whence = SEEK_SET;
  reading.l_start = kLockStart + 2;  // behind the bytes of those who only intend to write
  reading.l_len = kLockLength - 2;
  return fcntl(file, F_GETLK, &reading) == 0 && reading.l_type == F_WRLCK;
}

}  // namespace

DatabaseFiles::DatabaseFiles(const std::filesystem::path& folder)
    : files_{{folder / "cert9.db"}, {folder / "key4.db"}} {
  open();
}

void DatabaseFiles::open() {
  unreadable_.clear();
  for (File& file : files_) {
    std::string fault;
    if (file.descriptor < 0) file.descriptor = openStoreFile(file.path, kLargest, fault).release();
    if (!fault.empty() && unreadable_.empty()) unreadable_ = file.path.string() + ": " + fault;
    // Those that SQLite opens by itself: if they were closed here it would lose its locks on them.
    for (const char* const ending : {"-journal", "-wal", "-shm"}) {
      const std::string beside = file.path.string() + ending;
      std::error_code failure;
      const auto status = std::filesystem::status(beside, failure);
      if (exists(status) && !is_regular_file(status)) unreadable_ = beside + ": it is no regular file";
    }
  }
}

bool DatabaseFiles::isHeld() const {
  return std::any_of(std::begin(files_), std::end(files_),
                     [](const File& file) { return isFileHeld(file.descriptor); });
}

bool DatabaseFiles::waitUntilFree() const {
  return comesWithin(kWriterPatience, kPause, [this] { return !isHeld(); });
}

std::vector<std::int64_t> DatabaseFiles::state() const {
  std::vector<std::int64_t> state;
  for (const File& file : files_) {
    struct stat status{};
    fstat(file.descriptor, &status);
    state.insert(state.end(), {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
  }
  return state;
}

}  // namespace vorn::keys
