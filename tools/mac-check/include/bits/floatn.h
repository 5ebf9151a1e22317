#pragma once

// In the place of the C library's own: a compiler for macOS has no type of 128 bits for it to name.
#define __HAVE_FLOAT128 0
#define __HAVE_DISTINCT_FLOAT128 0
#define __HAVE_FLOAT64X 0
#define __HAVE_FLOAT64X_LONG_DOUBLE 0
#include <bits/floatn-common.h>
