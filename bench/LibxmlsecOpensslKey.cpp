#include <xmlsec/crypto.h>

#include "LibxmlsecKey.h"

xmlSecKeyPtr loadKey(int argc, char** argv) {
  if (argc != 3 || xmlSecCryptoAppInit(nullptr) != 0 || xmlSecCryptoInit() != 0) return nullptr;
  const xmlSecKeyPtr key = xmlSecCryptoAppKeyLoad(argv[1], xmlSecKeyDataFormatPem, nullptr, nullptr, nullptr);
  const bool hasCertificate =
      key != nullptr && xmlSecCryptoAppKeyCertLoad(key, argv[2], xmlSecKeyDataFormatPem) == 0;
  return hasCertificate ? key : nullptr;
}
