#include "shared/base/SignatureRecord.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

#include "shared/base/Logging.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("SignatureRecord"));

const log4cplus::Logger systemLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(logging::kSystemLog));

const char* const kCaller = "caller";
const char* const kCertificate = "certificate";
const char* const kDocument = "document";

std::string contextOf(const char* key) {
  std::string value;
  log4cplus::getMDC().get(&value, key);
  return value;
}

/** Between quotes, so that nothing in it can look like what stands beside it. */
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') result += '\\';
    result += letter;
  }
  return result + "\"";
}

/** As it is, where nobody can take a piece of it for another member of the line. */
std::string quotedIfNeeded(const std::string& text) {
  return text.find_first_of(",\"") == std::string::npos ? text : quoted(text);
}

}  // namespace

void signature_record::setCaller(const std::string& caller) {
  log4cplus::getMDC().put(kCaller, caller);
}

void signature_record::setCertificate(const std::string& serial) {
  log4cplus::getMDC().put(kCertificate, serial);
}

void signature_record::setDocument(const std::string& id) {
  // A page may choose any id: more of it tells nobody more, and system logs cut long lines.
  log4cplus::getMDC().put(kDocument, excerptOf(id));
}

std::string signature_record::document() {
  return contextOf(kDocument);
}

void signature_record::add(const std::string& element, const std::string& digest) {
  const std::string start =
      "Signed <" + element + ">: digest = " + digest + ", certificate = " + contextOf(kCertificate);
  // What the page chose comes last: it cannot look like one of the others.
  const auto line = [&start](std::string (*quote)(const std::string&)) {
    return start + ", caller = " + quote(excerptOf(contextOf(kCaller))) + ", document = " + quote(document());
  };
  LOG4CPLUS_INFO(logger, line(&quotedIfNeeded));
  LOG4CPLUS_INFO(systemLog, line(&quoted));
}

}  // namespace vorn
