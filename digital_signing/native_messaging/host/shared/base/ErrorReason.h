#pragma once

namespace vorn::reason {

/**
 * Why a request failed, for callers who ask by "reasons": finer than the codes, so that a page can say what
 * to do. Words are only ever added; one that was given keeps its meaning. docs/protocol.md explains each.
 */
inline constexpr const char* kNotFound = "not-found";
inline constexpr const char* kExpired = "expired";
inline constexpr const char* kPromptCancelled = "prompt-cancelled";
inline constexpr const char* kPinWrong = "pin-wrong";
inline constexpr const char* kPinBlocked = "pin-blocked";
inline constexpr const char* kCardOut = "card-out";
inline constexpr const char* kNoPrompt = "no-prompt";
inline constexpr const char* kModuleHangs = "module-hangs";
inline constexpr const char* kKeyFailed = "key-failed";
inline constexpr const char* kDocumentMalformed = "document-malformed";
inline constexpr const char* kDocumentInvalid = "document-invalid";
inline constexpr const char* kConfirmRefused = "confirm-refused";
inline constexpr const char* kRequestInvalid = "request-invalid";
inline constexpr const char* kAlgorithmUnknown = "algorithm-unknown";
inline constexpr const char* kStoreUnreadable = "store-unreadable";
inline constexpr const char* kRestart = "restart";
inline constexpr const char* kInternal = "internal";

}  // namespace vorn::reason
