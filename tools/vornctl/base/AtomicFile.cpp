#include "vornctl/base/AtomicFile.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

/** The rights that a new file gets. */
mode_t newFileMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0644 & ~mask;
}

/** Gives the file its name if nothing has it: looking first and renaming then would leave time in between. */
bool renameIfFree(const std::string& from, const fs::path& to) {
  if (link(from.c_str(), to.c_str()) == 0) return unlink(from.c_str()) == 0;
  if (errno == EEXIST) return false;
  // A file system without links: the name is taken first.
  const int placeholder = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  return placeholder >= 0 && close(placeholder) == 0 && std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

PendingFile::PendingFile(const fs::path& path, const NewFile& kind)
    : path_(path),
      kind_(kind),
      temporary_(path.parent_path() / ("." + path.filename().string() + ".XXXXXX")),
      descriptor_(mkstemp(temporary_.data())) {
  if (!descriptor_) fail(path);
}

PendingFile::~PendingFile() {
  if (descriptor_) unlink(temporary_.c_str());
}

void PendingFile::write(std::string_view bytes) {
  const int file = descriptor_.get();
  if (!writeAll(file, bytes) || fchmod(file, kind_.mode.value_or(newFileMode())) != 0 || fsync(file) != 0)
    fail(path_);
  const bool isNamed = kind_.mayReplace ? std::rename(temporary_.c_str(), path_.c_str()) == 0
                                        : renameIfFree(temporary_, path_);
  if (!isNamed) fail(path_);
  if (close(descriptor_.release()) != 0) fail(path_);
}

void writeFileAtomically(const fs::path& path, std::string_view bytes, const NewFile& kind) {
  PendingFile(path, kind).write(bytes);
}

}  // namespace vorn::vornctl
