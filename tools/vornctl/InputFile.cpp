#include "vornctl/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vorn::vornctl {
namespace {

class Input {
 public:
  /** Opening a pipe would wait for its other end. */
  explicit Input(const std::filesystem::path& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (descriptor_ < 0 && (errno == ENOENT || errno == ENOTDIR)) fail("there is no such file");
    if (descriptor_ < 0) failAsSystemSays();
  }
  ~Input() { close(descriptor_); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  std::string read(std::size_t most) {
    struct stat status{};
    if (fstat(descriptor_, &status) != 0) failAsSystemSays();
    if (!S_ISREG(status.st_mode)) fail("this is not a file but a folder, device or pipe");
    std::string bytes;
    char buffer[65536];
    while (bytes.size() <= most) {
      const ssize_t count = ::read(descriptor_, buffer, sizeof buffer);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) failAsSystemSays();
      if (count == 0) return bytes;
      bytes.append(buffer, static_cast<std::size_t>(count));
    }
    fail("the file is longer than " + std::to_string(most) + " bytes");
  }

 private:
  [[noreturn]] static void fail(const std::string& reason) { throw InputFault(reason); }
  [[noreturn]] static void failAsSystemSays() { fail(std::generic_category().message(errno)); }

  const int descriptor_;
};

}  // namespace

std::string readInput(const std::filesystem::path& path, std::size_t most) {
  return Input(path).read(most);
}

}  // namespace vorn::vornctl
