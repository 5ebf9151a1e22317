#pragma once

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "vornctl/base/InputFile.h"

/** What policies of both families have in common. */
namespace vorn::vornctl::policies {

using nlohmann::json;

inline constexpr const char* kEverything = "*";
inline constexpr const char* kSettings = "ExtensionSettings";
inline constexpr const char* kMode = "installation_mode";
inline constexpr const char* kTypes = "allowed_types";

/** The JSON of a file after `edit`; null where it cannot be read, which browsers pass over too. */
template <typename Edit>
json contentsOf(const std::filesystem::path& file, Edit edit) try {
  return json::parse(edit(readIfThere(file).value_or("")), nullptr, /*allow_exceptions=*/false);
} catch (const std::system_error&) {
  return nullptr;
}

inline bool has(const json& list, const std::string& entry) {
  return list.is_array() && std::find(list.begin(), list.end(), json(entry)) != list.end();
}

/** Whether it is a list of types of what may be installed without that of extensions. */
inline bool leavesOutExtensions(const json& types) {
  return types.is_array() && !has(types, "extension");
}

/** The member; null when there is none. */
inline json member(const json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() ? *found : json();
}

/** The member that is a text; empty when there is none. */
inline std::string textIn(const json& object, const char* name) {
  const json text = member(object, name);
  return text.is_string() ? text.get<std::string>() : "";
}

}  // namespace vorn::vornctl::policies
