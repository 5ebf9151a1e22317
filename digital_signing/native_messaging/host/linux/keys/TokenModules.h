#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::keys {

/** A PKCS #11 library, which brings tokens along, as somebody has registered it. */
struct TokenModule {
  std::filesystem::path library;
  std::string name;
  /** The file that names it. */
  std::filesystem::path registration;
  /** The parameters for the library's start, and settings for NSS; usually empty. */
  std::string parameters = {};
  std::string settings = {};
};

/** The modules that the system and the user have registered with p11-kit for programs like this one. Each
 * library stands for itself: p11-kit's own library, which brings all of them, can leave none out that hangs.
 * It is in the list only where a token behind a connection is registered ("remote"), which no other library
 * brings. */
std::vector<TokenModule> modulesOfSystem();

/** The modules that a key database lists, its own and those with root certificates left out. */
std::vector<TokenModule> modulesOfDatabase(const std::filesystem::path& folder);

}  // namespace vorn::keys
