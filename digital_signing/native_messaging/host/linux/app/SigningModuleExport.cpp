#include "linux/app/SigningModule.h"
#include "shared/Signing.h"
#include "shared/Version.h"

extern "C" __attribute__((visibility("default"))) const SigningModule vornSigningModule = {
    version::kFull, &signing::appendCertificate, &signing::appendSignedData};
