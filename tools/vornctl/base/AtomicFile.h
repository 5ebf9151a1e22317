#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "shared/base/Descriptor.h"

namespace vorn::vornctl {

struct NewFile {
  bool mayReplace = true;          /**< otherwise a file that is there is std::errc::file_exists */
  std::optional<mode_t> mode = {}; /**< none for those of any new file, 0644 less the umask */
};

/** A file that is written by way of a temporary one beside it: readers see the old bytes or the new ones, and
 * a failure leaves the old. Its folder has to exist. A link in the file's place is replaced, or left alone
 * like a file. */
class PendingFile {
 public:
  /** Throws std::system_error when no file can be made there; so that it is known before there is anything to
   * write. */
  explicit PendingFile(const std::filesystem::path& path, const NewFile& kind = {});
  /** Leaves nothing behind that was not written. */
  ~PendingFile();

  /** To be called once. Throws std::system_error. */
  void write(std::string_view bytes);

 private:
  std::filesystem::path path_;
  NewFile kind_;
  std::string temporary_;
  Descriptor descriptor_;
};

/** PendingFile at once. */
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, const NewFile& kind = {});

}  // namespace vorn::vornctl
