#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <optional>
#include <string>

#include "mac/app/CFRef.h"

namespace vorn {

/** The object when it is of the type, else null: ofType<CFArrayRef>(object, CFArrayGetTypeID()). */
template <class Ref>
Ref ofType(CFTypeRef object, CFTypeID type) {
  return object != nullptr && CFGetTypeID(object) == type ? static_cast<Ref>(object) : nullptr;
}

/** CFArrayGetCount that takes null for an empty array. */
CFIndex countOf(CFArrayRef array);

/** The text as an object; empty when it is not valid UTF-8. A zero byte is a character like any other. */
CFRef<CFStringRef> makeCFString(const std::string& utf8);

/** The whole text as UTF-8; none for null and for what has no UTF-8 form. */
std::optional<std::string> utf8Text(CFStringRef string);

/** The text as UTF-8 if, with the zero byte of a C string, it fits into `bufferSize` bytes; none otherwise.
 */
std::optional<std::string> utf8TextWithin(CFStringRef string, std::size_t bufferSize);

/** As much of the text as, with the zero byte of a C string, fits into
 * `bufferSize` bytes, in whole characters. */
std::string utf8TextCutTo(CFStringRef string, std::size_t bufferSize);

}  // namespace vorn
