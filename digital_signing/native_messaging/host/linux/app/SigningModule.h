#pragma once

#include "shared/SignatureAlgorithm.h"
#include "shared/json/jsonxx.h"

namespace vorn {

/**
 * The library that holds selection, signer and key store, opened by the host at the first request that needs
 * them. It stands beside the host's own file and exports one symbol, a SigningModule.
 */
struct SigningModule {
  const char* version;  // both are of one build, or the module is refused
  void (*selectCertificate)(const jsonxx::Object& userDetails, jsonxx::Object& response);
  void (*signDocuments)(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response);
};

inline constexpr const char* kSigningModuleFile = "vorn-signing-module.so";
inline constexpr const char* kSigningModuleSymbol = "vornSigningModule";

}  // namespace vorn
