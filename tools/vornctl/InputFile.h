#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace vorn::vornctl {

/** Why a file cannot be read, for people, without its name. */
struct InputFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/**
 * The bytes of a file that somebody else has made. Throws an InputFault when it is not there, cannot be read,
 * is longer than so many bytes, or is a device or a pipe, which might never end.
 */
std::string readInput(const std::filesystem::path& path, std::size_t most);

}  // namespace vorn::vornctl
