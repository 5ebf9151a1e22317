#include <new>
#include <stdexcept>

#include "shared/Exceptions.h"
#include "shared/Signing.h"

using namespace vorn;

/** Fails as the number "how" of the user details says. */
void vorn::signing::selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  response.import("cert_serial", "7");
  switch (static_cast<int>(userDetails.get<jsonxx::Number>("how"))) {
    case 100:
      throw TechnicalException("one");
    case 101:
      throw InvalidArgumentException("two");
    case 102:
      throw CertificateNotFoundException();
    case 103:
      throw XMLDataParsingException("four");
    case 104:
      throw InvalidXMLDataException("five");
    case 105:
      throw CryptoException("six");
    case 107:
      throw CertificateExpiredException();
    case 108:
      throw InvalidSignatureAlgorithmException("nine");
    case 109:
      throw BaseException(109, "of tomorrow");
    case 1:
      throw std::bad_alloc();
    case 2:
      throw std::out_of_range("stray");
    case 3:
      throw 5;
  }
}

void vorn::signing::signDocuments(const jsonxx::Array&, SignatureAlgorithm, jsonxx::Object&) {
  throw CryptoException("of the other function");
}
