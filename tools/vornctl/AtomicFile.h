#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vorn::vornctl {

/** The bytes of a file; none when there is no such file. Throws std::system_error when it cannot be read. */
std::optional<std::string> readFile(const std::filesystem::path& path);

/**
 * Writes the file by way of a temporary one beside it: readers see the old bytes or the
 * new ones, and a failure leaves the old. The folder has to exist. A link in the file's
 * place is replaced. Throws std::system_error.
 */
void writeFileAtomically(const std::filesystem::path& path, const std::string& bytes);

}  // namespace vorn::vornctl
