#pragma once

#include <cstddef>

/**
 * Base64 as OpenSSL's BIO filter has it: standard alphabet, "=" padding, no line breaks.
 * Both functions hand back a buffer made with malloc, which the caller frees; both end it with a zero byte that the
 * length does not count.
 */

/**
 * Decodes the zero-ended `text`. `*data` is the buffer and `*length` what the filter reports: zero or
 * negative when the text is not base64. The filter is lenient; `isBase64` is the test to make first.
 */
void decodeBase64(const char* text, unsigned char** data, long* length);

/** Encodes `length` bytes at `data` into the zero-ended `*text`. */
void encodeBase64(const unsigned char* data, std::size_t length, char** text);

/** Whether the text is non-empty base64: alphabet, a length in whole groups of four, padding only at the end.
 */
bool isBase64(const char* text, std::size_t length);
