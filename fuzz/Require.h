#pragma once

#include <cstdio>
#include <cstdlib>

/** What has to hold for every input; otherwise the fuzzer keeps the input and stops. */
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
  }
}

/** What libraries in C are given for a function that reports. */
inline void tellNobody(void*, const char*, ...) {}
