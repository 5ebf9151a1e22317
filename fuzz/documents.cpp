// XML documents through the signer: a document is signed or refused with one of the failures that a page is told of,
// and what has been signed can be read, and signed, again.

#include <log4cplus/helpers/loglog.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "fuzz/Require.h"
#include "mac/app/CertificateSelection.h"
#include "shared/Base64.h"
#include "shared/Exceptions.h"
#include "shared/ParserErrors.h"
#include "shared/XMLSigner.h"

namespace {

std::string toBase64(const std::uint8_t* data, std::size_t size) {
  char* text = nullptr;
  encodeBase64(data, size, &text);
  std::string result(text);
  std::free(text);
  return result;
}

/** Puts a new key into the selection, and a certificate that holds it and little else. */
void selectNewIdentity() {
  constexpr unsigned kBits = 1024;
  CertificateSelection& selection = CertificateSelection::getInstance();
  EVP_PKEY* key = EVP_RSA_gen(kBits);
  BIO* pem = BIO_new(BIO_s_mem());
  PEM_write_bio_PrivateKey(pem, key, nullptr, nullptr, 0, nullptr, nullptr);
  char* text = nullptr;
  const long textLength = BIO_get_mem_data(pem, &text);
  selection.keyPem.assign(text, static_cast<std::size_t>(textLength));
  BIO_free(pem);

  X509* certificate = X509_new();
  X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 1);
  X509_set_pubkey(certificate, key);
  X509_sign(certificate, key, EVP_sha256());
  unsigned char* der = nullptr;
  const int derLength = i2d_X509(certificate, &der);
  selection.certificateBase64 = toBase64(der, static_cast<std::size_t>(derLength));
  OPENSSL_free(der);
  X509_free(certificate);
  EVP_PKEY_free(key);
}

/** The signed document, or none for a refusal; `why` is its text then. */
std::optional<std::string> sign(const std::string& base64, std::string& why) {
  try {
    return XMLSigner::getInstance().sign(base64);
  } catch (const BaseException& refusal) {
    require(refusal.code() == 103 || refusal.code() == 104, refusal.message().c_str());
    why = refusal.message();
  } catch (...) {
    const std::optional<std::string> refusal = describeParserException();
    require(refusal.has_value(), "a failure that the host knows");
    why = *refusal;
  }
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  selectNewIdentity();
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string why;
  const std::optional<std::string> once = sign(toBase64(data, size), why);
  if (once && !sign(*once, why)) {
    // A signature may pass a limit of depth; nothing else is wrong with what has just been written.
    require(why.find("nested too deeply") != std::string::npos, why.c_str());
  }
  require(CertificateSelection::getInstance().keysAlive == 0, "all keys are given back");
  return 0;
}
