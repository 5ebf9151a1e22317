#pragma once

namespace vorn {

/** The host's version: what a page is told, and what binds the host to its signing module. */
namespace version {

inline constexpr const char* kMajor = "1";
inline constexpr const char* kMinor = "0";
inline constexpr const char* kRelease = "12";
inline constexpr const char* kBuild = "102";
inline constexpr const char* kFull = "1.0.12.102";

}  // namespace version

}  // namespace vorn
