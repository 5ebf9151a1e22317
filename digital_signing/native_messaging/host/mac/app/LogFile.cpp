#include "mac/app/LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace vorn {
namespace {

constexpr mode_t kForUserAlone = S_IRUSR | S_IWUSR;

std::string causeOf(int error) {
  return error == ELOOP ? "it is a symbolic link" : std::generic_category().message(error);
}

std::string faultOfFolder(int descriptor) {
  struct stat status{};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) return causeOf(errno);
  return status.st_uid == geteuid() || status.st_uid == 0 ? "" : "its folder belongs to another user";
}

std::string faultOfFile(int descriptor) {
  struct stat status{};
  if (fstat(descriptor, &status) != 0) return causeOf(errno);
  if (!S_ISREG(status.st_mode)) return "it is no regular file";
  if (status.st_uid != geteuid()) return "it belongs to another user";
  if (status.st_nlink > 1) return "it has another name besides this one";
  const bool isPrivate = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  return isPrivate || fchmod(descriptor, kForUserAlone) == 0 ? "" : causeOf(errno);
}

}  // namespace

LogFile::LogFile(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folderPath = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor folder(open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fault_ = faultOfFolder(folder.get());
  if (!fault_.empty()) return;
  // Opening a pipe to write would wait for its reader, were it not for O_NONBLOCK.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  descriptor_.reset(openat(folder.get(), path.c_str() + slash + 1, kFlags, kForUserAlone));
  fault_ = descriptor_ ? faultOfFile(descriptor_.get()) : causeOf(errno);
  if (descriptor_) fcntl(descriptor_.get(), F_SETFL, O_APPEND);
}

bool LogFile::isAt(const std::string& path) const {
  struct stat named{};
  struct stat held{};
  return descriptor_ && lstat(path.c_str(), &named) == 0 && fstat(descriptor_.get(), &held) == 0 &&
         named.st_dev == held.st_dev && named.st_ino == held.st_ino;
}

std::string LogFile::append(std::string_view line) {
  std::string whole;
  if (endsInLine_) line = whole.append("\n").append(line);
  std::string_view rest = line;
  const std::string fault = writeAll(descriptor_.get(), rest) ? "" : causeOf(errno);
  if (rest.size() < line.size()) endsInLine_ = line[line.size() - rest.size() - 1] != '\n';
  return fault;
}

bool LogFile::removeAbove(off_t limit, const std::string& path) {
  struct stat held{};
  if (!fault_.empty() || fstat(descriptor_.get(), &held) != 0 || held.st_size <= limit) return false;
  // Whoever has the lock, and still finds the file there, removes no other one than this.
  return flock(descriptor_.get(), LOCK_EX | LOCK_NB) == 0 && isAt(path) && std::remove(path.c_str()) == 0;
}

}  // namespace vorn
