#include "shared/request/Responses.h"

#include <sys/utsname.h>

#include <cstdint>
#include <string>

#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Version.h"

namespace vorn {

void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message,
                 const std::string& reason) {
  response << "result"
           << "error";
  response << "error_code" << code;
  response << "error_message" << message;
  if (!reason.empty()) response << "error_reason" << reason;
}

namespace {

// The prefix is part of the protocol on every system: pages match on it.
std::string operatingSystem() {
  const platform::SystemVersion version = platform::systemVersion();
  return "Mac OS X version " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.bugFix);
}

std::string processorType() {
  utsname names{};
  return uname(&names) == 0 ? names.machine : "";
}

std::string installLocation() {
  const std::string path = platform::installedPath();
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) throw TechnicalException("Failed to get install location");
  return path.substr(0, slash);
}

}  // namespace

void appendVersion(jsonxx::Object& response) {
  response << "major" << version::kMajor;
  response << "minor" << version::kMinor;
  response << "release" << version::kRelease;
  response << "build" << version::kBuild;
  response << "version" << version::kFull;
  response << "os" << operatingSystem();
  response << "os_type" << processorType();
  const std::string location = installLocation();  // before its key is pending: it may throw
  response << "install_location" << location;
}

}  // namespace vorn
