#pragma once

#include <xmlsec/keys.h>

/**
 * Starts the cryptography that the program is linked with and gives the key, with its certificate. What the
 * program was told says where they are: KEY.pem CERTIFICATE.pem for OpenSSL, DATABASE for NSS. Null when
 * anything fails.
 */
xmlSecKeyPtr loadKey(int argc, char** argv);
