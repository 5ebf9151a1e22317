#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace vorn::vornctl {

/** In bytes: no manifest, policy or key file comes near it. */
constexpr std::size_t kMostOfFile = std::size_t{16} << 20;

/** The bytes of a file that somebody else has made; none when there is no such file. Throws std::system_error
 * when it cannot be read, is longer than so many bytes, or is a device or a pipe, which might never end.
 * `mode` gets the file's permissions. */
std::optional<std::string> readIfThere(const std::filesystem::path& path, std::size_t most = kMostOfFile,
                                       mode_t* mode = nullptr);

/** Why a file cannot be read, for people, without its name. */
struct InputFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** The same of a file that has to be there. Throws an InputFault in every case. */
std::string readInput(const std::filesystem::path& path, std::size_t most, mode_t* mode = nullptr);

}  // namespace vorn::vornctl
