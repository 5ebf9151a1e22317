#include "vornctl/browsers/HostManifest.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>

#include "vornctl/base/BuildSettings.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/browsers/BrowserFamily.h"

namespace vorn::vornctl {
namespace {

using Json = nlohmann::ordered_json;

/** One in a line, "#" before remarks. */
ExtensionIds readList(const std::string& list) {
  ExtensionIds ids;
  std::istringstream lines(list);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) ids.add(word);
  }
  return ids;
}

}  // namespace

Family familyOfExtension(std::string_view id) {
  const bool isLikeFirefox = id.find('@') != std::string_view::npos || id.starts_with('{');
  const Family family = isLikeFirefox ? Family::kFirefox : Family::kChromium;
  const std::string fault = id.empty()                               ? "it is empty"
                            : id.find('*') != std::string_view::npos ? "browsers accept no wildcards here"
                                                                     : rulesOf(family).faultOfId(id);
  if (!fault.empty()) throw BadExtensionId("\"" + std::string(id) + "\" is no extension id: " + fault);
  return family;
}

std::string faultOfId(std::string_view id, Family family) try {
  return familyOfExtension(id) == family ? "" : "that is an id for other browsers";
} catch (const BadExtensionId& e) {
  return e.what();
}

void ExtensionIds::add(const std::string& id) {
  std::vector<std::string>& ids = byFamily[static_cast<std::size_t>(familyOfExtension(id))];
  if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
}

ExtensionIds readExtensionIds(const std::vector<std::string>& given) {
  ExtensionIds ids;
  for (const std::string& id : given) ids.add(id);
  return ids;
}

ExtensionIds configuredExtensionIds(const Places& places) {
  const std::filesystem::path file = places.resolve("/etc/vorn-signing/extension-ids");
  if (const auto text = readIfThere(file)) {
    try {
      return readList(*text);
    } catch (const BadExtensionId& e) {
      throw BadExtensionId(file.string() + ": " + e.what());
    }
  }
  std::string built =
      std::string(settings::kChromiumExtensionIds) + ";" + std::string(settings::kFirefoxExtensionIds);
  std::replace(built.begin(), built.end(), ';', '\n');
  return readList(built);
}

std::string manifestText(Family family, const std::filesystem::path& host,
                         const std::vector<std::string>& ids) {
  const FamilyRules& rules = rulesOf(family);
  Json allowed = Json::array();
  for (const std::string& id : ids)
    allowed.push_back(std::string(rules.before) + id + std::string(rules.behind));
  const Json manifest = {{"name", kHostName},
                         {"description", "Signs XML documents with a certificate of the user"},
                         {"path", host.string()},
                         {"type", "stdio"},
                         {rules.allowedMember, std::move(allowed)}};
  constexpr int kIndent = 2;
  return manifest.dump(kIndent) + "\n";
}

std::optional<ManifestContents> readManifest(const std::filesystem::path& file, Family family) try {
  const std::optional<std::string> text = readIfThere(file);
  if (!text) return std::nullopt;
  const Json manifest = Json::parse(*text, nullptr, /*allow_exceptions=*/false, /*ignore_comments=*/true);
  ManifestContents contents;
  if (!manifest.is_object()) return contents;
  if (const auto path = manifest.find("path"); path != manifest.end() && path->is_string())
    contents.host = path->get<std::string>();
  const auto allowed = manifest.find(rulesOf(family).allowedMember);
  if (allowed == manifest.end() || !allowed->is_array()) return contents;
  for (const Json& entry : *allowed) {
    std::string id = entry.is_string() ? rulesOf(family).idIn(entry.get<std::string>()) : "";
    if (faultOfId(id, family).empty()) contents.ids.push_back(std::move(id));
  }
  return contents;
} catch (const std::system_error&) {
  return std::nullopt;
}

}  // namespace vorn::vornctl
