#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef struct OpaqueCFError* CFErrorRef;

CFIndex CFErrorGetCode(CFErrorRef error);

/** A text for people, in English: that the operation could not be completed, with the error's domain, code
 * and description. */
CFStringRef CFErrorCopyDescription(CFErrorRef error);
}
