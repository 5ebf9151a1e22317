#include "vornctl/base/InputFile.h"

#include <sys/stat.h>

#include <system_error>

#include "shared/base/Descriptor.h"

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

[[noreturn]] void fail(const std::filesystem::path& path, int error,
                       const std::error_category& category = std::generic_category()) {
  throw std::system_error(error, category, path.string());
}

}  // namespace

std::optional<std::string> readIfThere(const std::filesystem::path& path, std::size_t most, mode_t* mode) {
  static const MisfitCategory misfits;
  // Opening a pipe would wait for its other end.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  struct stat status{};
  if (!file || fstat(file.get(), &status) != 0) fail(path, errno);
  if (!S_ISREG(status.st_mode)) fail(path, kNoFile, misfits);
  if (mode != nullptr) *mode = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  std::string bytes;
  if (!readAll(file.get(), bytes, most)) fail(path, errno);
  if (bytes.size() > most) fail(path, kTooLong, misfits);
  return bytes;
}

std::string readInput(const std::filesystem::path& path, std::size_t most, mode_t* mode) try {
  if (std::optional<std::string> bytes = readIfThere(path, most, mode)) return std::move(*bytes);
  throw InputFault("there is no such file");
} catch (const std::system_error& e) {
  throw InputFault(e.code().message());
}

}  // namespace vorn::vornctl
