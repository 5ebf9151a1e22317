#include <map>
#include <new>
#include <stdexcept>

#include "linux/app/SigningSession.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Signing.h"

using namespace vorn;

/** Fails as the number "how" of the user details says. */
void vorn::signing::selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  response.import("cert_serial", "7");
  static const std::map<int, void (*)()> kFailures = {
      {100, [] { throw TechnicalException("one"); }},
      {101, [] { throw InvalidArgumentException("two"); }},
      {102, [] { throw CertificateNotFoundException(); }},
      {103, [] { throw XMLDataParsingException("four"); }},
      {104, [] { throw InvalidXMLDataException("five"); }},
      {105, [] { throw CryptoException("six", "card-out"); }},
      {107, [] { throw CertificateExpiredException(); }},
      {108, [] { throw InvalidSignatureAlgorithmException("nine"); }},
      {1, [] { throw std::bad_alloc(); }},
      {2, [] { throw std::out_of_range("stray"); }},
      {3, [] { throw 5; }}};
  const auto failure = kFailures.find(static_cast<int>(userDetails.get<jsonxx::Number>("how")));
  if (failure != kFailures.end()) failure->second();
}

void vorn::signing_session::begin(const keys::KeyProgram&) {}
bool vorn::signing_session::isOver() {
  return false;
}
void vorn::signing_session::findSigner(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  signing::selectCertificate(userDetails, response);
}
void vorn::signing_session::signOrFindAnother(const jsonxx::Array&, SignatureAlgorithm, jsonxx::Object&) {
  throw CryptoException("of the other function");
}
