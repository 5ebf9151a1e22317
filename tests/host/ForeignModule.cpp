#include "linux/app/SigningModule.h"

extern "C" __attribute__((visibility("default")))
const vorn::SigningModule vornSigningModule = {"one of yesterday", nullptr, nullptr, nullptr};
