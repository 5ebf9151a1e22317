// XML documents through the signer: a document is signed or refused with one of the failures that a page is
// told of, and what has been signed can be read again, with the very digests that were signed.

#include <openssl/evp.h>
#include <xercesc/dom/DOM.hpp>

#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/Identity.h"
#include "fuzz/Require.h"
#include "shared/XMLSigner.h"
#include "shared/base/Base64.h"
#include "shared/base/Exceptions.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/XmlText.h"
#include "signing/TestIdentity.h"

using namespace vorn;

namespace {

std::string_view view(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/** The signed document, or none for a refusal; `why` is its text then. */
std::optional<std::string> sign(const std::string& base64, std::string& why) {
  try {
    return XMLSigner::getInstance().sign(base64);
  } catch (const BaseException& refusal) {
    require(refusal.code() == 103 || refusal.code() == 104, refusal.message().c_str());
    why = refusal.message();
  } catch (...) {
    const std::optional<std::string> refusal = parserRefusal();
    require(refusal.has_value(), "a failure that the host knows");
    why = *refusal;
  }
  return std::nullopt;
}

xercesc::DOMElement* onlyElement(const xercesc::DOMDocument& document, const XMLCh* name) {
  const xercesc::DOMNodeList* found = document.getElementsByTagName(name);
  require(found->getLength() == 1, "the signed element stands in the document once");
  return static_cast<xercesc::DOMElement*>(found->item(0));
}

/** Digests the element anew, without its signature, and compares with what was signed. */
void requireDigest(const xercesc::DOMElement& element) {
  const auto* signature = static_cast<const xercesc::DOMElement*>(element.getLastChild());
  const xercesc::DOMNodeList* values = signature->getElementsByTagName(u"DigestValue");
  require(values->getLength() == 1, "the signature is the last child");
  Canonicaliser canonical(element, signature);
  std::string bytes;
  for (std::string_view run = canonical.next(); !run.empty(); run = canonical.next()) bytes += run;
  std::uint8_t digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
  require(toUtf8(values->item(0)->getTextContent()) == toBase64(view(digest, length)),
          "the digest is that of the document");
}

void requireDigests(std::string_view xml) {
  ParsedDocument parsed(xml);
  const xercesc::DOMDocument& document = parsed.document();
  const xercesc::DOMElement* counterpart = onlyElement(document, u"CounterpartData");
  const xercesc::DOMElement* rendered = onlyElement(document, u"RenderedData");
  requireDigest(*rendered);
  const bool secondBreaksFirst = counterpart->getElementsByTagName(u"RenderedData")->getLength() > 0;
  if (!secondBreaksFirst) requireDigest(*counterpart);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  startWithIdentity();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);  // each input is a request of its own
  std::string why;
  const std::optional<std::string> once = sign(toBase64(view(data, size)), why);
  // Nothing that was signed passes a limit when it is read again.
  if (once) requireDigests(fromBase64(*once).value().view());
  require(testIdentity().keysAlive == 0, "all keys are given back");
  return 0;
}
