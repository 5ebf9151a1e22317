#include "vornctl/browsers/ExtensionIds.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include "shared/text/LetterCase.h"
#include "vornctl/base/BuildSettings.h"
#include "vornctl/base/InputFile.h"

namespace vorn::vornctl {
namespace {

constexpr std::size_t kChromiumIdLength = 32;

[[noreturn]] void refuse(std::string_view id, const std::string& reason) {
  throw BadExtensionId("\"" + std::string(id) + "\" is no extension id: " + reason);
}

bool isFirefoxId(const std::string& id) {
  static const std::regex kAddress("[A-Za-z0-9._-]*@[A-Za-z0-9._-]+");
  static const std::regex kGuid("\\{[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\\}");
  return std::regex_match(id, kAddress) || std::regex_match(id, kGuid);
}

/** One in a line, "#" before remarks. */
ExtensionIds readList(std::string_view list) {
  ExtensionIds ids;
  std::istringstream lines{std::string(list)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) ids.add(word);
  }
  return ids;
}

}  // namespace

Family familyOfExtension(std::string_view id) {
  if (id.empty()) refuse(id, "it is empty");
  if (id.find('*') != std::string_view::npos) refuse(id, "browsers accept no wildcards here");
  if (id.find('@') != std::string_view::npos || id.front() == '{') {
    if (!isFirefoxId(std::string(id)))
      refuse(id, "those of Firefox are like name@domain or {01234567-89ab-cdef-0123-456789abcdef}");
    return Family::kFirefox;
  }
  if (id.find("://") != std::string_view::npos) refuse(id, "give the id alone, not the whole address");
  const auto isForeign = [](char letter) { return letter < 'a' || letter > 'p'; };
  if (const auto foreign = std::find_if(id.begin(), id.end(), isForeign); foreign != id.end()) {
    refuse(id, std::string("those of Chromium are of small letters from a to p, it has \"") + *foreign +
                   "\"; those of Firefox have an @ or are a GUID in braces");
  }
  if (id.size() != kChromiumIdLength)
    refuse(id, "those of Chromium have 32 letters, it has " + std::to_string(id.size()));
  return Family::kChromium;
}

void ExtensionIds::add(const std::string& id) {
  std::vector<std::string>& ids = familyOfExtension(id) == Family::kChromium ? chromium : firefox;
  if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
}

std::string chromiumIdOf(std::string_view origin) {
  return asciiLowerCase(std::string(origin.substr(0, origin.find('/'))));
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

}  // namespace vorn::vornctl
