#include "shared/SignatureRecord.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("SignatureRecord"));

const char* const kCaller = "caller";
const char* const kCertificate = "certificate";
const char* const kDocument = "document";

// A page may choose any id. More than this of it tells nobody more.
constexpr std::size_t kLongestId = 200;

std::string contextOf(const char* key) {
  std::string value;
  log4cplus::getMDC().get(&value, key);
  return value;
}

}  // namespace

namespace signature_record {

void setCaller(const std::string& caller) {
  log4cplus::getMDC().put(kCaller, caller);
}

void setCertificate(const std::string& serial) {
  log4cplus::getMDC().put(kCertificate, serial);
}

void setDocument(const std::string& id) {
  log4cplus::getMDC().put(kDocument, id.size() > kLongestId ? id.substr(0, kLongestId) + "..." : id);
}

std::string document() {
  return contextOf(kDocument);
}

void add(const std::string& element, const std::string& digest) {
  // What the page chose comes last: it cannot look like one of the others.
  LOG4CPLUS_INFO(logger, "Signed <" << element << ">: digest = " << digest
                                    << ", certificate = " << contextOf(kCertificate)
                                    << ", caller = " << contextOf(kCaller) << ", document = " << document());
}

}  // namespace signature_record

}  // namespace vorn
