#include "shared/xml/XmlLibraries.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <xalanc/Include/XalanMemoryManagement.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xalanc/XalanTransformer/XalanTransformer.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "shared/base/Exceptions.h"
#include "shared/xml/DocumentParser.h"
#include "shared/xml/SignatureBuilder.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** The library's own handler ends the process. */
class ThrowingPanicHandler : public xercesc::PanicHandler {
 public:
  void panic(const PanicReasons reason) override {
    throw std::runtime_error(std::string("The XML library cannot go on: ") + getPanicReasonString(reason));
  }
};

bool isStarted = false;

}  // namespace

void requireCountedExpansions(ParserMemory& memory) {
  constexpr std::string_view kDocument = "<!DOCTYPE a [<!ENTITY % e ''>%e;%e;%e;]><a/>";
  constexpr std::size_t kExpansions = 3;
  DocumentParser parser(memory, ExpansionBudget());
  parser.parse(xercesc::MemBufInputSource(reinterpret_cast<const XMLByte*>(kDocument.data()),
                                          kDocument.size(), "check", false));
  if (memory.expansions() != kExpansions) {
    throw TechnicalException(
        "The XML library is not one that this program knows: what documents expand could not be bounded");
  }
}

void startXmlLibraries() {
  if (isStarted) return;
  try {
    static ThrowingPanicHandler panicHandler;
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicHandler);
    ParserMemory memory(ParserLimits::memoryFor(0));
    requireCountedExpansions(memory);
    xalanc::XPathEvaluator::initialize(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
    xalanc::XalanTransformer::initialize(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
    XSECPlatformUtils::Initialise();
    useOwnCanonicalSignedInfo();
    isStarted = true;
  } catch (const xercesc::XMLException& e) {
    throw TechnicalException("Caught XMLException initialising XML system libraries. Exception message = " +
                             toUtf8(e.getMessage()));
  }
}

void stopXmlLibraries() {
  XSECPlatformUtils::Terminate();
  xalanc::XalanTransformer::terminate();
  xalanc::XPathEvaluator::terminate();
  xercesc::XMLPlatformUtils::Terminate();
}

}  // namespace vorn
