#pragma once

#include "CoreFoundation/CFBase.h"
#include "CoreFoundation/CFDictionary.h"

extern "C" {

typedef struct OpaqueCFError* CFErrorRef;

CFIndex CFErrorGetCode(CFErrorRef error);

/** A text for people, in English: that the operation could not be completed, with the error's domain, code
 * and description. */
CFStringRef CFErrorCopyDescription(CFErrorRef error);

/** Null, or a word of the failure's reason under "VORNErrorReason", where one is known. The caller releases
 * it. */
CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error);
}
