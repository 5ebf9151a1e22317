#pragma once

namespace vorn {

/**
 * Logs what the browser passed: its manifest's path, the calling extension. Worth knowing a year from now.
 */
void logArguments(int count, const char* const* arguments);

}  // namespace vorn
