#include "shared/verification/DocumentCheck.h"

#include <openssl/evp.h>

#include <cstdint>
#include <span>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/base/Exceptions.h"
#include "shared/base/OpenSslHandle.h"
#include "shared/base/RsaCheck.h"
#include "shared/verification/SignatureReader.h"
#include "shared/verification/SignerCertificate.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/SignatureElements.h"
#include "shared/xml/XmlText.h"

namespace vorn::verification {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

using DigestContext = OpenSslHandle<EVP_MD_CTX, &EVP_MD_CTX_free>;

const EVP_MD* digestOf(SignatureAlgorithm algorithm) {
  switch (algorithm) {
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  case SignatureAlgorithm::name:                                \
    return evp();
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
  }
  throw TechnicalException("There is no such signature algorithm");
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void requireOnlyElement(const NamedElements& found) {
  if (found.count == 0) throw Fault{kFormatFailure, "there is no such element"};
  if (found.count > 1) throw Fault{kFormatFailure, "there are several such elements"};
  if (comesOutOfEntity(*found.first)) throw Fault{kFormatFailure, "the element comes out of an entity"};
}

void check(const DOMElement& element, PartCheck& result) {
  const SignatureElements signatures = findSignatures(element);
  if (signatures.last == nullptr) throw Fault{kNotSigned, "the element is not signed"};
  const DOMElement& signature = *signatures.last;
  result.algorithm = signatureMethodOf(signature);
  const SignatureFields fields = readSignature(signature, result.elementName);
  const SignerCertificate certificate(fields.certificate);
  if (!certificate.hasKey(fields.modulus, fields.exponent))
    throw Fault{kFormatFailure, "KeyValue and the certificate are of different keys"};
  const EVP_MD* const digest = digestOf(fields.algorithm);
  const std::string signedInfo = digestElement(*fields.signedInfo, nullptr, digest);
  if (!isRsaSignature(certificate.key(), digest, bytesOf(signedInfo), bytesOf(fields.signature)))
    throw Fault{kSignatureFailure,
                "the signature was not made with the key of the certificate in it, or has been altered"};
  if (digestElement(element, &signature, digest) != fields.digest)
    throw Fault{kHashFailure, "the element has been altered since it was signed"};
  result.certificate = fields.certificate;
  result.maySign = certificate.maySign();
  result.keyBits = certificate.keyBits();
  result.method = fields.algorithm;
}

PartCheck checkPart(const xercesc::DOMDocument& document, const std::string& name) {
  PartCheck result{.elementName = name};
  try {
    const NamedElements found = findElements(document, name);
    result.element = found.count == 1 ? found.first : nullptr;
    requireOnlyElement(found);
    check(*found.first, result);
  } catch (const Fault& fault) {
    result.fault = fault;
  }
  return result;
}

}  // namespace

std::string digestElement(const DOMElement& element, const DOMNode* omitted, const EVP_MD* algorithm) {
  const DigestContext context(EVP_MD_CTX_new());
  bool good = context && EVP_DigestInit_ex(context.get(), algorithm, nullptr) == 1;
  Canonicaliser canonical(element, omitted);
  for (std::string_view run = canonical.next(); good && !run.empty(); run = canonical.next())
    good = EVP_DigestUpdate(context.get(), run.data(), run.size()) == 1;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (!good || EVP_DigestFinal_ex(context.get(), digest, &length) != 1)
    throw TechnicalException("The digest of <" + toUtf8(element.getNodeName()) + "> cannot be computed");
  return {reinterpret_cast<const char*>(digest), length};
}

PartChecks checkDocument(const xercesc::DOMDocument& document) {
  return {checkPart(document, "CounterpartData"), checkPart(document, "RenderedData")};
}

}  // namespace vorn::verification
