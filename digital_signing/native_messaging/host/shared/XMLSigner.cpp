#include "shared/XMLSigner.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>
#include <xalanc/Include/XalanMemoryManagement.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xalanc/XalanTransformer/XalanTransformer.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "mac/app/CertificateSelection.h"
#include "mac/app/KeychainCryptoKeyRSA.h"
#include "shared/Base64.h"
#include "shared/Exceptions.h"
#include "shared/SignatureRecord.h"
#include "shared/xml/DocumentBytes.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/DocumentParser.h"
#include "shared/xml/DocumentSerialiser.h"
#include "shared/xml/ParserCheck.h"
#include "shared/xml/SignatureBuilder.h"
#include "shared/xml/SignatureWarnings.h"
#include "shared/xml/SignedInfoHandler.h"
#include "shared/xml/XmlText.h"

namespace {

log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("XMLSigner"));

// What a signature adds to a document, as a rule: room is made for so much.
constexpr std::size_t kSignatureSize = std::size_t{4} << 10;

struct Free {
  void operator()(void* buffer) const { std::free(buffer); }
};

/** Logs the message and throws it. */
template <typename Exception>
[[noreturn]] void fail(const std::string& message) {
  LOG4CPLUS_ERROR(logger, message);
  throw Exception(message);
}

/** The library's own handler ends the process. */
class ThrowingPanicHandler : public xercesc::PanicHandler {
 public:
  void panic(const PanicReasons reason) override {
    throw std::runtime_error(std::string("The XML library cannot go on: ") + getPanicReasonString(reason));
  }
};

std::string describe(const xercesc::DOMException& e) {
  constexpr XMLSize_t kLongest = 2047;
  XMLCh text[kLongest + 1];
  if (!xercesc::DOMImplementation::loadDOMExceptionMsg(e.code, text, kLongest)) return {};
  return ". " + toUtf8(text);
}

/** Bytes of one document; base64 that is not base64 is told apart here, as the decoder reports nothing. */
class DecodedText {
 public:
  explicit DecodedText(const std::string& base64) {
    if (!isBase64(base64.data(), base64.size()))
      fail<XMLDataParsingException>("Request XML data is not valid base64");
    unsigned char* data = nullptr;
    decodeBase64(base64.c_str(), &data, &length_);
    data_.reset(data);
    if (length_ <= 0) fail<XMLDataParsingException>("Request XML data is not valid base64");
  }
  const unsigned char* data() const { return data_.get(); }
  std::size_t size() const { return static_cast<std::size_t>(length_); }
  std::string_view text() const { return {reinterpret_cast<const char*>(data()), size()}; }

 private:
  std::unique_ptr<unsigned char, Free> data_;
  long length_ = 0;
};

void parse(DocumentParser& parser, const DecodedText& xml) {
  try {
    requireNoZeroCharacter(xml.text());
    xercesc::MemBufInputSource source(xml.data(), xml.size(), "XSECMem", false);
    source.setCopyBufToStream(false);
    parser.parse(source);
    if (viewOf(parser.getDocument()->getInputEncoding()) == u"UTF-8") requireUtf8(xml.text());
  } catch (const XMLDataParsingException& e) {
    fail<XMLDataParsingException>(e.message());
  } catch (const InvalidXMLDataException& e) {
    fail<InvalidXMLDataException>(e.message());
  } catch (const xercesc::XMLException& e) {
    fail<XMLDataParsingException>("Caught XMLException parsing request XML data. Exception message = " +
                                  toUtf8(e.getMessage()));
  } catch (const xercesc::DOMException& e) {
    fail<XMLDataParsingException>("Caught DOMException parsing request XML data" + describe(e));
  }
}

xercesc::DOMElement& findSingleElement(const DocumentParser& document, const std::string& elementName) {
  const DocumentParser::Elements elements = document.elementsNamed(elementName);
  if (elements.count > 1) {
    fail<InvalidXMLDataException>("Request XML data is invalid. Multiple <" + elementName +
                                  "> elements found");
  }
  if (elements.count == 0) {
    fail<InvalidXMLDataException>("Request XML data is invalid. Element <" + elementName + "> not found");
  }
  return *elements.first;
}

/** Runs one step of signing; whatever it throws, but for want of memory, becomes a CryptoException that names
 * the step. */
template <typename Step>
auto reportingAs(const std::string& stepName, Step step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const xercesc::OutOfMemoryException&) {
    throw;
  } catch (const XSECException& e) {
    fail<CryptoException>("Caught XSECException " + stepName + ". Exception message = " + toUtf8(e.getMsg()));
  } catch (const XSECCryptoException& e) {
    fail<CryptoException>("Caught XSECCryptoException " + stepName + ". Exception message = " + e.getMsg());
  } catch (...) {
    fail<CryptoException>("Caught unknown exception " + stepName);
  }
}

}  // namespace

XMLSigner& XMLSigner::getInstance() {
  static auto* const instance = new XMLSigner;
  return *instance;
}

void XMLSigner::initialise(SignatureAlgorithm algorithm) {
  try {
    if (!initialised_) {
      LOG4CPLUS_DEBUG(logger, "Initialising XML libraries");
      static ThrowingPanicHandler panicHandler;
      xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicHandler);
      ParserMemory memory(DocumentParser::memoryFor(0));
      requireCountedExpansions(memory);
      xalanc::XPathEvaluator::initialize(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
      xalanc::XalanTransformer::initialize(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
      XSECPlatformUtils::Initialise();
      useOwnCanonicalSignedInfo();
      initialised_ = true;
    }
  } catch (const xercesc::XMLException& e) {
    fail<TechnicalException>("Caught XMLException initialising XML system libraries. Exception message = " +
                             toUtf8(e.getMessage()));
  } catch (const BaseException& e) {
    throw BaseException(e.code(), e.message());
  }
  switch (algorithm) {
    case RSA_SHA1:
      signatureMethodURI_ = DSIGConstants::s_unicodeStrURIRSA_SHA1;
      digestMethodURI_ = DSIGConstants::s_unicodeStrURISHA1;
      break;
    case RSA_SHA256:
      signatureMethodURI_ = DSIGConstants::s_unicodeStrURIRSA_SHA256;
      digestMethodURI_ = DSIGConstants::s_unicodeStrURISHA256;
      break;
    case RSA_SHA512:
      signatureMethodURI_ = DSIGConstants::s_unicodeStrURIRSA_SHA512;
      digestMethodURI_ = DSIGConstants::s_unicodeStrURISHA512;
      break;
  }
}

std::string XMLSigner::sign(const std::string& base64Xml) {
  LOG4CPLUS_INFO(logger, "Signing XML data");
  std::string signedXml;
  {
    // The parser's document lies in this memory, so it has to go last.
    ParserMemory memory(DocumentParser::memoryFor(base64Xml.size() / 4 * 3));
    DocumentParser parser(memory);
    std::size_t size = 0;
    {
      const DecodedText xml(base64Xml);
      LOG4CPLUS_DEBUG(logger, "XML data to be signed = " << xml.text());
      size = xml.size();
      parse(parser, xml);
    }
    generateSignature(parser, "CounterpartData");
    generateSignature(parser, "RenderedData");
    LOG4CPLUS_INFO(logger, "Finished signing XML");
    signedXml = writeDocument(*parser.getDocument(), size + 2 * kSignatureSize);
  }
  LOG4CPLUS_DEBUG(logger, "Signed XML = " << signedXml);
  char* encoded = nullptr;
  encodeBase64(reinterpret_cast<const unsigned char*>(signedXml.data()), signedXml.size(), &encoded);
  const std::unique_ptr<char, Free> owner(encoded);
  return encoded;
}

void XMLSigner::generateSignature(const DocumentParser& document, const std::string& elementName) {
  xercesc::DOMElement& element = findSingleElement(document, elementName);
  warnOfVerifiers(logger, element, elementName);

  auto key = reportingAs("initialising signing certificate", [] {
    CertificateSelection& selection = CertificateSelection::getInstance();
    return std::make_unique<KeychainCryptoKeyRSA>(selection.getCertificate(), selection.getPrivateKey());
  });

  LOG4CPLUS_INFO(logger, "Generating and loading signature for <" << elementName << ">");
  const std::string relativeNamespace = reportingAs("during signature loading", [&] {
    if (signatureMethodURI_ == nullptr) {
      throw XSECException(XSECException::AlgorithmMapperError, "No signature algorithm has been selected");
    }
    SignatureBuilder builder(*element.getOwnerDocument(), element, elementName);
    builder.describe(signatureMethodURI_, digestMethodURI_);
    KeychainCryptoKeyRSA& signingKey = *key;
    builder.setSigningKey(std::move(key));
    const std::string exponent = signingKey.getExponentBase64();
    const std::string modulus = signingKey.getModulusBase64();
    builder.describeKey(modulus, exponent, CertificateSelection::getInstance().getEncodedCertificate());
    builder.sign();
    signature_record::add(elementName, builder.digest());
    return builder.relativeNamespace();
  });
  warnOfRelativeNamespace(logger, elementName, relativeNamespace);
}

void XMLSigner::cleanup() {
  if (!initialised_) return;
  LOG4CPLUS_DEBUG(logger, "Unloading XML libraries");
  XSECPlatformUtils::Terminate();
  xalanc::XalanTransformer::terminate();
  xalanc::XPathEvaluator::terminate();
  xercesc::XMLPlatformUtils::Terminate();
}
