// Whole requests, with signing functions that do what the request's own bytes say: every one is answered,
// with one object of valid UTF-8 that has a result.

#include <log4cplus/helpers/loglog.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "fuzz/Require.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Signing.h"
#include "shared/json/jsonxx.h"
#include "shared/messaging/FrameAssembler.h"
#include "shared/messaging/MessageExchange.h"
#include "shared/text/Utf8.h"

using namespace vorn;

namespace vorn::signing {

void selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  const auto& name = userDetails.get<jsonxx::String>("name");
  response << "cert_issuer" << name;
  response << "cert_serial" << userDetails.get<jsonxx::String>("email");
  response << "cert_expiry" << userDetails.get<jsonxx::String>("abn");
  for (const auto& aki : userDetails.get<jsonxx::Array>("aki").elements())
    require(aki->is<jsonxx::String>(), "an AKI");
  if (name == "nobody") throw CertificateNotFoundException();
  if (name == "late") throw CertificateExpiredException();
  if (name == "stray") throw std::runtime_error("stray");
  if (name == "odd") throw 5;
}

void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm, jsonxx::Object& response) {
  require(!xmlData.empty(), "documents to sign");
  jsonxx::Array copies;
  for (const auto& document : xmlData.elements()) {
    const auto& data = document->get<jsonxx::Object>().get<jsonxx::String>("data");
    if (data.empty()) throw XMLDataParsingException("empty");
    copies << jsonxx::Value(data);
  }
  response << "signed_data" << jsonxx::Value(std::move(copies));
}

}  // namespace vorn::signing

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string written;
  MessageExchange exchange([&written](std::string_view bytes) { written.append(bytes); });
  const auto length = static_cast<std::uint32_t>(size);
  std::string frame(reinterpret_cast<const char*>(&length), sizeof length);
  frame.append(reinterpret_cast<const char*>(data), size);
  const std::optional<int> status = exchange.deliver(frame);
  require(!status || *status == 1, "no other end than that of an invalid request");

  std::uint32_t answered = 0;
  require(written.size() >= sizeof answered, "an answer");
  std::memcpy(&answered, written.data(), sizeof answered);
  const std::string text = written.substr(sizeof answered);
  require(answered == text.size(), "one frame and nothing else");
  require(isValidUtf8(text), "valid UTF-8");
  jsonxx::Object answer;
  require(answer.parse(text) && answer.has<jsonxx::String>("result"), "an object with a result");
  const bool failed = answer.get<jsonxx::String>("result") == "error";
  require(failed == answer.has<jsonxx::Number>("error_code"), "a code when, and only when, it failed");
  require(!status || failed, "an end is explained");
  return 0;
}
