#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace vorn::frameworks {

/** Called when the key database in `folder` is opened; the files are watched until the process ends. */
void watchKeyStore(const std::filesystem::path& folder);

/**
 * Waits while another process holds the key database for itself, as each writer does for some milliseconds,
 * but for two seconds at most. False when it is still held then: NSS would go on to wait, for minutes and for
 * every object.
 */
bool waitForKeyStore();

/** A value that differs once anybody has written to the watched files. */
std::vector<std::int64_t> keyStoreState();

}  // namespace vorn::frameworks
