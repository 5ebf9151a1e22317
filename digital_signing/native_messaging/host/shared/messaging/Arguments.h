#pragma once

#include <string>

namespace vorn {

/**
 * Logs what the browser passed: its manifest's path, the calling extension. Worth knowing a year from now.
 * The caller is also named in the log's line for each signature.
 */
void logArguments(int count, const char* const* arguments);

/**
 * The extension that started the host: Chromium passes its origin first, Firefox its id behind the path of
 * the manifest. "none" for a host that something else has started.
 */
std::string callerOf(int count, const char* const* arguments);

}  // namespace vorn
