#include "linux/keys/NssError.h"

#include <prerror.h>
#include <secerr.h>

#include "Security/Security.h"

namespace vorn::keys {
namespace {

constexpr OSStatus kCssmInternalError = -2147416063;
constexpr OSStatus kCssmMemoryError = -2147416062;

struct Translation {
  PRErrorCode nss;
  OSStatus status;
  OSStatus cssmCode;
};

/** A wrong password is asked for again, so that "bad password" means that nobody was there to type one. */
constexpr Translation kTranslations[] = {
    {SEC_ERROR_BAD_PASSWORD, errSecInteractionNotAllowed, kCssmNoUserInteraction},
    {SEC_ERROR_TOKEN_NOT_LOGGED_IN, errSecInteractionNotAllowed, kCssmNoUserInteraction},
    {SEC_ERROR_LOCKED_PASSWORD, errSecAuthFailed, kCssmOperationAuthDenied},
    {SEC_ERROR_EXPIRED_PASSWORD, errSecAuthFailed, kCssmOperationAuthDenied},
    {SEC_ERROR_USER_CANCELLED, errSecUserCanceled, kCssmUserCanceled},
    {SEC_ERROR_INPUT_LEN, errSecParam, kCssmInputLengthError},
    {SEC_ERROR_OUTPUT_LEN, errSecParam, kCssmInputLengthError},
    {SEC_ERROR_BAD_DATABASE, errSecNotAvailable, kCssmInternalError},
    {SEC_ERROR_NO_TOKEN, errSecNotAvailable, kCssmInternalError},
    {PR_NO_ACCESS_RIGHTS_ERROR, errSecWrPerm, kCssmInternalError},
    {SEC_ERROR_NO_MEMORY, errSecAllocate, kCssmMemoryError},
    {PR_OUT_OF_MEMORY_ERROR, errSecAllocate, kCssmMemoryError},
};

}  // namespace

NssError lastNssError() {
  const PRErrorCode code = PR_GetError();
  const char* known = PR_ErrorToName(code);
  std::string name = known != nullptr ? known : std::string("error ").append(std::to_string(code));
  for (const Translation& translation : kTranslations)
    if (translation.nss == code) return {translation.status, translation.cssmCode, std::move(name)};
  return {errSecInternalError, kCssmInternalError, std::move(name)};
}

}  // namespace vorn::keys
