#include "linux/app/SigningModule.h"
#include "shared/Signing.h"
#include "shared/Version.h"

extern "C" __attribute__((visibility("default"))) const vorn::SigningModule vornSigningModule = {
    vorn::version::kFull, &vorn::signing::selectCertificate, &vorn::signing::signDocuments};
