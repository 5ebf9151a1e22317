#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef double CFTimeInterval;

/** Seconds since 2001-01-01 00:00:00 UTC. */
typedef CFTimeInterval CFAbsoluteTime;

/** 1970-01-01 to 2001-01-01 in seconds: add it to an absolute time for Unix time. */
extern const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);
}
