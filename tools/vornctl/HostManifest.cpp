#include "vornctl/HostManifest.h"

#include "shared/json/jsonxx.h"

namespace vorn::vornctl {

std::string manifestText(Family family, const std::filesystem::path& host, const ExtensionIds& ids) {
  jsonxx::Array allowed;
  for (const std::string& id : ids.of(family))
    allowed << jsonxx::Value(family == Family::kChromium ? "chrome-extension://" + id + "/" : id);
  jsonxx::Object manifest;
  manifest.import("name", kHostName);
  manifest.import("description", "Signs XML documents with a certificate of the user");
  manifest.import("path", host.string());
  manifest.import("type", "stdio");
  manifest.import(family == Family::kChromium ? "allowed_origins" : "allowed_extensions", std::move(allowed));
  return manifest.json();
}

}  // namespace vorn::vornctl
