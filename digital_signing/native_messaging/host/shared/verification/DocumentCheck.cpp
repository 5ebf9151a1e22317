#include "shared/verification/DocumentCheck.h"

#include <openssl/evp.h>

#include "shared/base/Exceptions.h"
#include "shared/base/OpenSslHandle.h"
#include "shared/base/RsaCheck.h"
#include "shared/verification/SignatureReader.h"
#include "shared/verification/SignerCertificate.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/XmlText.h"

namespace vorn::verification {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

using DigestContext = OpenSslHandle<EVP_MD_CTX, &EVP_MD_CTX_free>;

void requireOnlyElement(const NamedElements& found) {
  if (found.count == 0) throw Objection{kFormatFailure, "there is no such element"};
  if (found.count > 1) throw Objection{kFormatFailure, "there are several such elements"};
  if (comesOutOfEntity(*found.first)) throw Objection{kFormatFailure, "the element comes out of an entity"};
}

void check(const DOMElement& element, PartCheck& result) {
  const ChildSignatures signatures = findSignatures(element);
  if (signatures.last == nullptr) throw Objection{kNotSigned, "the element is not signed"};
  const DOMElement& signature = *signatures.last;
  result.algorithm = signatureMethodOf(signature);
  const SignatureFields fields = readSignature(signature, result.elementName);
  const SignerCertificate certificate(fields.certificate);
  if (!certificate.hasKey(fields.modulus, fields.exponent))
    throw Objection{kFormatFailure, "KeyValue and the certificate are of different keys"};
  const EVP_MD* const digest = evpDigest(fields.algorithm);
  const std::string signedInfo = digestElement(*fields.signedInfo, nullptr, digest);
  if (!isRsaSignature(certificate.key(), digest, signedInfo, fields.signature))
    throw Objection{kSignatureFailure,
                    "the signature was not made with the key of the certificate in it, or has been altered"};
  if (digestElement(element, &signature, digest) != fields.digest)
    throw Objection{kHashFailure, "the element has been altered since it was signed"};
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
  } catch (const Objection& objection) {
    result.fault = objection;
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
  return {checkPart(document, kSignedElements[0]), checkPart(document, kSignedElements[1])};
}

}  // namespace vorn::verification
