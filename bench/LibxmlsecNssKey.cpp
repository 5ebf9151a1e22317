#include <cert.h>
#include <keyhi.h>
#include <nss.h>
#include <pk11pub.h>
#include <xmlsec/crypto.h>
#include <xmlsec/nss/app.h>
#include <xmlsec/nss/pkikeys.h>

#include <memory>

#include "LibxmlsecKey.h"

namespace {

using Certificate = std::unique_ptr<CERTCertificate, decltype(&CERT_DestroyCertificate)>;

/** The key and its certificate; the key stays in the database and signs there. */
xmlSecKeyPtr keyOf(SECKEYPrivateKey* privateHalf) {
  const Certificate certificate(PK11_GetCertFromPrivateKey(privateHalf), &CERT_DestroyCertificate);
  const xmlSecKeyDataPtr data = xmlSecNssPKIAdoptKey(privateHalf, SECKEY_ConvertToPublicKey(privateHalf));
  const xmlSecKeyPtr key = xmlSecKeyCreate();
  const bool isComplete =
      certificate && data != nullptr && key != nullptr && xmlSecKeySetValue(key, data) == 0 &&
      xmlSecNssAppKeyCertLoadSECItem(key, &certificate->derCert, xmlSecKeyDataFormatDer) == 0;
  return isComplete ? key : nullptr;
}

}  // namespace

xmlSecKeyPtr loadKey(int argc, char** argv) {
  constexpr auto kFlags = NSS_INIT_READONLY | NSS_INIT_NOROOTINIT;
  if (argc != 2 || NSS_Initialize(argv[1], "", "", "", kFlags) != SECSuccess) return nullptr;
  if (xmlSecCryptoInit() != 0) return nullptr;
  SECKEYPrivateKeyList* const keys = PK11_ListPrivateKeysInSlot(PK11_GetInternalKeySlot());
  if (keys == nullptr || PRIVKEY_LIST_END(PRIVKEY_LIST_HEAD(keys), keys)) return nullptr;
  return keyOf(SECKEY_CopyPrivateKey(PRIVKEY_LIST_HEAD(keys)->key));
}
