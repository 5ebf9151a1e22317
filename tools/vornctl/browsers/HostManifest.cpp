#include "vornctl/browsers/HostManifest.h"

#include <nlohmann/json.hpp>
#include <system_error>

#include "vornctl/base/InputFile.h"

namespace vorn::vornctl {
namespace {

using Json = nlohmann::ordered_json;

const char* allowedMember(Family family) {
  return family == Family::kChromium ? "allowed_origins" : "allowed_extensions";
}

/** Empty when the entry stands for no extension of the family's. */
std::string idOf(const Json& entry, Family family) {
  if (!entry.is_string()) return "";
  std::string id = entry.get<std::string>();
  if (family == Family::kChromium) {
    if (!id.starts_with(kChromiumScheme)) return "";
    id = chromiumIdOf(id.substr(kChromiumScheme.size()));
  }
  try {
    return familyOfExtension(id) == family ? id : "";
  } catch (const BadExtensionId&) {
    return "";
  }
}

}  // namespace

std::string manifestText(Family family, const std::filesystem::path& host,
                         const std::vector<std::string>& ids) {
  Json allowed = Json::array();
  for (const std::string& id : ids)
    allowed.push_back(family == Family::kChromium ? std::string(kChromiumScheme) + id + "/" : id);
  const Json manifest = {{"name", kHostName},
                         {"description", "Signs XML documents with a certificate of the user"},
                         {"path", host.string()},
                         {"type", "stdio"},
                         {allowedMember(family), std::move(allowed)}};
  constexpr int kIndent = 2;
  return manifest.dump(kIndent) + "\n";
}

std::optional<ManifestContents> readManifest(const std::filesystem::path& file, Family family) {
  std::optional<std::string> text;
  try {
    text = readIfThere(file);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  if (!text) return std::nullopt;
  const Json manifest = Json::parse(*text, nullptr, /*allow_exceptions=*/false, /*ignore_comments=*/true);
  ManifestContents contents;
  if (!manifest.is_object()) return contents;
  if (const auto path = manifest.find("path"); path != manifest.end() && path->is_string())
    contents.host = path->get<std::string>();
  const auto allowed = manifest.find(allowedMember(family));
  if (allowed == manifest.end() || !allowed->is_array()) return contents;
  for (const Json& entry : *allowed)
    if (std::string id = idOf(entry, family); !id.empty()) contents.ids.push_back(std::move(id));
  return contents;
}

}  // namespace vorn::vornctl
