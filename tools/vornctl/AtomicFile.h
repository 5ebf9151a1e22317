#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

namespace vorn::vornctl {

/** The bytes of a file; none when there is no such file. Throws std::system_error when it cannot be read.
 * `mode` gets the file's permissions. */
std::optional<std::string> readFile(const std::filesystem::path& path, mode_t* mode = nullptr);

struct NewFile {
  bool mayReplace = true;          /**< otherwise a file that is there is std::errc::file_exists */
  std::optional<mode_t> mode = {}; /**< none for those of any new file, 0644 less the umask */
};

/**
 * Writes the file by way of a temporary one beside it: readers see the old bytes or the new ones, and a
 * failure leaves the old. The folder has to exist. A link in the file's place is replaced, or left
 * alone like a file. Throws std::system_error.
 */
void writeFileAtomically(const std::filesystem::path& path, const std::string& bytes,
                         const NewFile& kind = {});

}  // namespace vorn::vornctl
