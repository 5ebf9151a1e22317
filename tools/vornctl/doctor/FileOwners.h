#pragma once

#include <filesystem>
#include <optional>

#include "vornctl/base/Fault.h"

namespace vorn::vornctl {

/**
 * Who besides the user and root can change what is found under this path: the file, or any folder on the way
 * to it, links followed. A folder in which everybody may make files is no harm if it is sticky, as /tmp is; a
 * group is none if nobody but the owner is in it, and there is no access list. None where nobody can, and
 * where there is no such file.
 */
std::optional<Fault> findForeignWriter(const std::filesystem::path& file);

/** The same for a host and the libraries and programs beside it, all of which it uses. */
std::optional<Fault> findForeignWriterOfHost(const std::filesystem::path& host);

/** Whether the bits of the group are the mask of an access list; each system has its own answer. */
bool hasAccessList(const std::filesystem::path& file);

}  // namespace vorn::vornctl
