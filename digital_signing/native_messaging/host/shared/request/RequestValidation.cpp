#include "shared/request/RequestValidation.h"

#include <cstdint>
#include <string>

#include "shared/base/Exceptions.h"
#include "shared/request/AnswerParts.h"

namespace vorn {
namespace {

template <class Kind>
void require(const jsonxx::Object& object, const char* member, const char* message) {
  if (!object.has<Kind>(member)) throw InvalidArgumentException(message);
}

}  // namespace

void validateUserDetails(const jsonxx::Object& userDetails) {
  require<jsonxx::String>(userDetails, "name", "Name is missing from the signing request message");
  require<jsonxx::String>(userDetails, "email", "Email is missing from the signing request message");
  require<jsonxx::String>(userDetails, "abn", "ABN is missing from the signing request message");
  const char* const noAKIs = "AKI list is missing from the signing request message";
  require<jsonxx::Array>(userDetails, "aki", noAKIs);
  for (const auto& aki : userDetails.get<jsonxx::Array>("aki").elements())
    if (!aki->is<jsonxx::String>()) throw InvalidArgumentException(noAKIs);
}

void validateSignRequest(const jsonxx::Object& request) {
  require<jsonxx::Object>(request, "user_details",
                          "User details are missing from the signing request message");
  validateUserDetails(request.get<jsonxx::Object>("user_details"));
  require<jsonxx::Array>(request, "xml_data", "XML data array is missing from the signing request message");
  const auto& documents = request.get<jsonxx::Array>("xml_data");
  if (documents.empty())
    throw InvalidArgumentException("XML data array from the signing request message is empty");
  for (const auto& document : documents.elements()) {
    if (!document->is<jsonxx::Object>())
      throw InvalidArgumentException("XML data object is missing from the signing request message");
    require<jsonxx::String>(document->get<jsonxx::Object>(), "data",
                            "XML data field is missing from the signing request message");
  }
}

SignatureAlgorithm requestedAlgorithm(const jsonxx::Object& request) {
  if (!request.has<jsonxx::String>("signature_algorithm")) return SignatureAlgorithm::RSA_SHA256;
  const auto& name = request.get<jsonxx::String>("signature_algorithm");
  for (const NamedAlgorithm& known : kSignatureAlgorithms)
    if (name == known.name) return known.algorithm;
  throw InvalidSignatureAlgorithmException("Unrecognised signature algorithm: " + name);
}

std::optional<std::size_t> requestedLargestAnswer(const jsonxx::Object& request) {
  if (!request.has<jsonxx::Number>("max_answer")) return std::nullopt;
  const jsonxx::Number bytes = request.get<jsonxx::Number>("max_answer");
  // Written so that what is not a number at all is refused too.
  if (!(bytes >= AnswerParts::kLeastLimit)) {
    throw InvalidArgumentException("Invalid max_answer, less than " +
                                   std::to_string(AnswerParts::kLeastLimit));
  }
  // No frame is longer than this, and not every number fits into a size.
  return bytes < UINT32_MAX ? static_cast<std::size_t>(bytes) : UINT32_MAX;
}

}  // namespace vorn
