#include "shared/base/Platform.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <syslog.h>

#include <algorithm>
#include <array>

#include "mac/app/CFRef.h"
#include "mac/app/DeprecatedCalls.h"

namespace vorn {
namespace {

constexpr std::size_t kPathCapacity = 1024;

SInt32 gestalt(OSType selector) {
  SInt32 response = 0;
  return Gestalt(selector, &response) == noErr ? response : 0;
}

}  // namespace

std::string platform::homeFolder() {
  FSRef folder;
  std::array<UInt8, kPathCapacity> path{};
  if (FSFindFolder(kUserDomain, kCurrentUserFolderType, kCreateFolder, &folder) != noErr ||
      FSRefMakePath(&folder, path.data(), path.size()) != noErr)
    return "";
  return reinterpret_cast<const char*>(path.data());
}

platform::SystemVersion platform::systemVersion() {
  return {gestalt(gestaltSystemVersionMajor), gestalt(gestaltSystemVersionMinor),
          gestalt(gestaltSystemVersionBugFix)};
}

std::string platform::installedPath() {
  const auto url = CFRef<CFURLRef>::adopt(CFBundleCopyBundleURL(CFBundleGetMainBundle()));
  std::array<UInt8, kPathCapacity> path{};
  if (!url ||
      !CFURLGetFileSystemRepresentation(url.get(), true, path.data(), static_cast<CFIndex>(path.size())))
    return "";
  return reinterpret_cast<const char*>(path.data());
}

void platform::openSystemLog() {
  openlog("vorn-signing", LOG_PID | LOG_NDELAY, LOG_USER);
}

std::string platform::tellSystemLog(int level, const std::string& line) {
  // What is less than a notice is kept in memory alone.
  syslog(std::min(level, LOG_NOTICE), "%s", line.c_str());
  return "";
}

}  // namespace vorn
