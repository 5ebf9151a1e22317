#include "shared/Platform.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <array>

#include "mac/app/CFRef.h"

// FSFindFolder, FSRefMakePath and Gestalt have been deprecated since 10.8. They stay because what they answer is part
// of the protocol and of where users look for the log: the home folder of the user domain, and the version as these
// selectors tell it, which their successors tell otherwise for a program that is run under another's compatibility.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace {

constexpr std::size_t kPathCapacity = 1024;

SInt32 gestalt(OSType selector) {
  SInt32 response = 0;
  return Gestalt(selector, &response) == noErr ? response : 0;
}

}  // namespace

namespace platform {

std::string homeFolder() {
  FSRef folder;
  std::array<UInt8, kPathCapacity> path{};
  if (FSFindFolder(kUserDomain, kCurrentUserFolderType, kCreateFolder, &folder) != noErr ||
      FSRefMakePath(&folder, path.data(), path.size()) != noErr) {
    return "";
  }
  return reinterpret_cast<const char*>(path.data());
}

SystemVersion systemVersion() {
  return {gestalt(gestaltSystemVersionMajor), gestalt(gestaltSystemVersionMinor),
          gestalt(gestaltSystemVersionBugFix)};
}

std::string installedPath() {
  const auto url = CFRef<CFURLRef>::adopt(CFBundleCopyBundleURL(CFBundleGetMainBundle()));
  std::array<UInt8, kPathCapacity> path{};
  if (!url || !CFURLGetFileSystemRepresentation(url.get(), true, path.data(), static_cast<CFIndex>(path.size()))) {
    return "";
  }
  return reinterpret_cast<const char*>(path.data());
}

}  // namespace platform

#pragma clang diagnostic pop
