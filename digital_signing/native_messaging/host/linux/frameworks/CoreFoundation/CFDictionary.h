#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFDictionary* CFDictionaryRef;
typedef struct OpaqueCFDictionaryKeyCallBacks CFDictionaryKeyCallBacks;
typedef struct OpaqueCFDictionaryValueCallBacks CFDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID(void);

/**
 * A dictionary of `count` pairs; of pairs with equal keys the first is kept. The callbacks must be null: the
 * dictionary neither retains nor releases, compares keys by address, and what it holds must outlive it.
 */
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);

/** The value, which stays with the dictionary; null when there is none. */
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
}
