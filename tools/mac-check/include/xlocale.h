#pragma once

/**
 * What libc++ expects of the C library of macOS and that of Linux does not have under these names. Only the
 * names count: nothing that includes this is ever linked.
 */
#include <locale.h>
#include <stdlib.h>

extern "C" {

enum {
  _CTYPE_A = 1 << 8,
  _CTYPE_C = 1 << 9,
  _CTYPE_D = 1 << 10,
  _CTYPE_L = 1 << 11,
  _CTYPE_P = 1 << 12,
  _CTYPE_S = 1 << 13,
  _CTYPE_U = 1 << 14,
  _CTYPE_X = 1 << 15,
  _CTYPE_B = 1 << 16,
  _CTYPE_R = 1 << 17,
};

float strtof_l(const char* text, char** end, locale_t locale);
double strtod_l(const char* text, char** end, locale_t locale);
long double strtold_l(const char* text, char** end, locale_t locale);
long long strtoll_l(const char* text, char** end, int base, locale_t locale);
unsigned long long strtoull_l(const char* text, char** end, int base, locale_t locale);
int asprintf_l(char** result, locale_t locale, const char* format, ...);
int snprintf_l(char* buffer, size_t size, locale_t locale, const char* format, ...);
int sscanf_l(const char* text, locale_t locale, const char* format, ...);
}
