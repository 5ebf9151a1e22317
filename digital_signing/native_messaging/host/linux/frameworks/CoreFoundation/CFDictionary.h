#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFDictionary* CFDictionaryRef;

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* first, const void* second);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);

/**
 * Any function may be null: no retaining, no releasing, keys compared by address. Descriptions and hashes are
 * never asked for: a dictionary here is searched from end to end.
 */
typedef struct {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
  CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

/** For keys and values that are objects: CFRetain, CFRelease and CFEqual. */
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID(void);

/**
 * A dictionary of `count` pairs; of pairs with equal keys the first is kept. Null callbacks are all null
 * functions: the dictionary then neither retains nor releases, and what it holds must outlive it.
 */
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);

/** The value, which stays with the dictionary; null when there is none. */
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

/** Whether the key is there; if so and `value` is not null, the value goes to `*value`. It stays with the
 * dictionary. */
Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value);
}
