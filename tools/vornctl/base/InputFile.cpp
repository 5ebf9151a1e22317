#include "vornctl/base/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vorn::vornctl {
namespace {

enum Misfit { kNoFile, kTooLong };

/** The reasons for which the system has no words. */
class MisfitCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "input file"; }
  std::string message(int misfit) const override {
    return misfit == kNoFile ? "this is not a file but a folder, device or pipe" : "the file is too long";
  }
};

class Input {
 public:
  /** Opening a pipe would wait for its other end. */
  explicit Input(const std::filesystem::path& path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (descriptor_ < 0 && errno != ENOENT && errno != ENOTDIR) failAsSystemSays();
  }
  ~Input() {
    if (isThere()) close(descriptor_);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  bool isThere() const { return descriptor_ >= 0; }

  std::string read(std::size_t most, mode_t* mode) {
    struct stat status{};
    if (fstat(descriptor_, &status) != 0) failAsSystemSays();
    if (!S_ISREG(status.st_mode)) fail(kNoFile);
    if (mode != nullptr) *mode = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    std::string bytes;
    char buffer[65536];
    while (bytes.size() <= most) {
      const ssize_t count = ::read(descriptor_, buffer, sizeof buffer);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) failAsSystemSays();
      if (count == 0) return bytes;
      bytes.append(buffer, static_cast<std::size_t>(count));
    }
    fail(kTooLong);
  }

 private:
  [[noreturn]] void fail(Misfit misfit) const {
    static const MisfitCategory category;
    throw std::system_error(misfit, category, path_.string());
  }
  [[noreturn]] void failAsSystemSays() const {
    throw std::system_error(errno, std::generic_category(), path_.string());
  }

  const std::filesystem::path path_;
  const int descriptor_;
};

}  // namespace

std::optional<std::string> readIfThere(const std::filesystem::path& path, std::size_t most, mode_t* mode) {
  Input input(path);
  if (!input.isThere()) return std::nullopt;
  return input.read(most, mode);
}

std::string readInput(const std::filesystem::path& path, std::size_t most, mode_t* mode) try {
  if (std::optional<std::string> bytes = readIfThere(path, most, mode)) return std::move(*bytes);
  throw InputFault("there is no such file");
} catch (const std::system_error& e) {
  throw InputFault(e.code().message());
}

}  // namespace vorn::vornctl
