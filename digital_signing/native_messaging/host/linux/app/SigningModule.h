#pragma once

#include <cstdint>
#include <string>

#include "linux/processes/KeyProgram.h"
#include "shared/base/Requester.h"
#include "shared/base/SignatureAlgorithm.h"
#include "shared/json/jsonxx.h"

namespace vorn {

/** How a call of the module has failed. No exception crosses the border: whether a class of two libraries is
 * one to `catch` depends on the C++ library and on how they were linked. */
struct SigningFailure {
  enum class Kind : std::int32_t { kNone, kHost, kRequesterGone, kOutOfMemory, kStandard, kUnknown };

  Kind kind = Kind::kNone;
  std::uint32_t code = 0;  // of a BaseException
  std::string message = {};
  std::string reason = {};
  /** Whether the process for keys is gone, and only another host can start another. */
  bool isLast = false;
};

/** The library that holds selection, signer and key store, opened by the host at the first request that needs
 * them. It stands beside the host's own file and exports one symbol, a SigningModule. */
struct SigningModule {
  const char* build;  // the same as the host's, or the module is refused and nothing behind this is read
  /** Called first, with the process for keys, which was started meanwhile. */
  void (*begin)(const requester::Ends& ends, const keys::KeyProgram& keys) noexcept;
  SigningFailure (*select)(const jsonxx::Object& userDetails, jsonxx::Object& response) noexcept;
  SigningFailure (*sign)(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm,
                         jsonxx::Object& response) noexcept;
};

/** Opens the files beside the host's own that it starts and loads later: what takes their place meanwhile, in
 * an upgrade, is of another build. */
void openSigningFiles();

/** Whether another host has to take over once this one has answered: its files were overwritten after all, or
 * the process for keys is gone. */
bool isSigningOver();

inline constexpr const char* kSigningModuleFile = "vorn-signing-module.so";
inline constexpr const char* kSigningModuleSymbol = "vornSigningModule";

}  // namespace vorn
