#include "shared/Signing.h"

#include <utility>

#include "mac/app/CertificateSelection.h"
#include "shared/Exceptions.h"
#include "shared/XMLSigner.h"

namespace signing {

void appendCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  CertificateSelection& selection = CertificateSelection::getInstance();
  selection.initialise(userDetails);
  response << "cert_expiry" << selection.getCertificateExpiry();
  response << "cert_issuer" << selection.getCertificateIssuer();
  response << "cert_serial" << selection.getCertificateSerial();
  if (selection.isExpired()) {
    throw CertificateExpiredException();
  }
}

void appendSignedData(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  XMLSigner& signer = XMLSigner::getInstance();
  signer.initialise(algorithm);
  jsonxx::Array signedData;
  for (const auto& element : xmlData.elements()) {
    const auto& document = element->get<jsonxx::Object>();
    jsonxx::Object item;
    if (document.has<jsonxx::String>("id")) {
      item << "id" << document.get<jsonxx::String>("id");
    }
    item << "data" << jsonxx::Value(signer.sign(document.get<jsonxx::String>("data")));
    signedData << jsonxx::Value(std::move(item));
  }
  response << "signed_data" << jsonxx::Value(std::move(signedData));
}

}  // namespace signing
