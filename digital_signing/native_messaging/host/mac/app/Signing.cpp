#include "shared/base/Signing.h"

#include <new>
#include <optional>
#include <string>
#include <utility>
#include <xercesc/util/OutOfMemoryException.hpp>

#include "mac/app/CertificateSelection.h"
#include "mac/app/KeychainCryptoKeyRSA.h"
#include "shared/XMLSigner.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Requester.h"
#include "shared/base/SignatureRecord.h"
#include "shared/base/SigningIdentity.h"
#include "shared/xml/ParsedDocument.h"

namespace vorn {
namespace {

/** Signs one document. What the parser refuses becomes an exception of ours, which the page is told. */
std::string signOne(XMLSigner& signer, const std::string& base64Xml) try {
  return signer.sign(base64Xml);
} catch (...) {
  if (const std::optional<std::string> refusal = parserRefusal()) throw XMLDataParsingException(*refusal);
  throw;
}

}  // namespace

void signing::selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  CertificateSelection& selection = CertificateSelection::getInstance();
  selection.initialise(userDetails);
  const std::string expiry = selection.getCertificateExpiry();
  response << "cert_expiry" << expiry;
  response << "cert_issuer" << selection.getCertificateIssuer();
  response << "cert_serial" << selection.getCertificateSerial();
  signature_record::setCertificate(selection.getCertificateSerial());
  // An earlier certificate that is kept by a search without a winner counts as expired, and has no details.
  const bool isFound = !selection.getCertificateSerial().empty();
  if (selection.isExpired())
    throw CertificateExpiredException(isFound ? reason::kExpired : reason::kNotFound);
}

void signing::signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm,
                            jsonxx::Object& response) try {
  XMLSigner& signer = XMLSigner::getInstance();
  signer.initialise(algorithm);
  jsonxx::Array signedData;
  std::size_t length = 0;
  for (const auto& element : xmlData.elements()) {
    if (!signedData.empty()) requester::requirePresent();
    const auto& document = element->get<jsonxx::Object>();
    jsonxx::Object item;
    const bool hasId = document.has<jsonxx::String>("id");
    signature_record::setDocument(hasId ? document.get<jsonxx::String>("id") : "");
    if (hasId) item << "id" << document.get<jsonxx::String>("id");
    jsonxx::Value signedDocument(signOne(signer, document.get<jsonxx::String>("data")));
    length += signedDocument.get<jsonxx::String>().size();
    if (length > kLongestAnswer) throw AnswerTooLongException();
    item << "data" << std::move(signedDocument);
    signedData << jsonxx::Value(std::move(item));
  }
  response << "signed_data" << jsonxx::Value(std::move(signedData));
} catch (const xercesc::OutOfMemoryException&) {
  throw std::bad_alloc();  // the library's own class is no std::exception
}

SigningKey signing_identity::makeKey() {
  CertificateSelection& selection = CertificateSelection::getInstance();
  auto key = std::make_unique<KeychainCryptoKeyRSA>(selection.getCertificate(), selection.getPrivateKey());
  const PublicKeyText& publicHalf = *key;
  return {std::move(key), publicHalf};
}

std::string signing_identity::encodedCertificate() {
  return CertificateSelection::getInstance().getEncodedCertificate();
}

}  // namespace vorn
