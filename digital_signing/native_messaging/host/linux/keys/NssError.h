#pragma once

#include <string>

#include "Security/Security.h"

namespace vorn::keys {

/** A failure of NSS in the terms of the mirrored interface. */
struct NssError {
  /** The status of a mirrored function. */
  OSStatus status;
  /** The code of an error in the domain "Internal CSSM error". */
  OSStatus cssmCode;
  /** NSS's own name, SEC_ERROR_BAD_PASSWORD for instance. */
  std::string name;
  /** A sentence for people where more is known than the name; else empty. */
  std::string sentence = "";
  /** A word of ErrorReason.h, where more is known than the code; only with a sentence. */
  std::string reason = "";
};

/** The codes of the domain "Internal CSSM error" that this layer itself has a reason for. */
inline constexpr OSStatus kCssmInputLengthError = -2147415807;
inline constexpr OSStatus kCssmNoUserInteraction = -2147415840;
inline constexpr OSStatus kCssmOperationAuthDenied = -2147416032;
inline constexpr OSStatus kCssmUserCanceled = -2147415839;

/** A status of the mirrored functions, with its text for people; none is success. */
struct Failure {
  OSStatus status = 0;
  std::string text = "";
};

/** The one translation of the error that NSS reported last, on this thread. */
NssError lastNssError();

}  // namespace vorn::keys
