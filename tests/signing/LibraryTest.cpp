#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/RuntimeException.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/framework/XSECAlgorithmHandler.hpp>
#include <xsec/framework/XSECAlgorithmMapper.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/transformers/TXFMC14n.hpp>
#include <xsec/transformers/TXFMChain.hpp>
#include <xsec/transformers/TXFMDocObject.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>
#include <xsec/utils/XSECSafeBuffer.hpp>

#include "shared/base/Base64.h"
#include "shared/base/Exceptions.h"
#include "shared/base/SignatureAlgorithm.h"
#include "shared/xml/ParserLimits.h"
#include "shared/xml/XmlLibraries.h"
#include "shared/xml/XmlText.h"
#include "signing/Parsed.h"
#include "signing/SigningFixture.h"

using namespace vorn;

namespace {

/** What is assumed of the libraries' private parts, when another release does not keep to it. */
using Library = SigningTest;

TEST_F(Library, WhoseReadersAreOfAnotherSizeIsRefused) {
  struct Grown : ParserMemory {
    using ParserMemory::ParserMemory;
    void* allocate(XMLSize_t size) override { return ParserMemory::allocate(size + 8); }
  } grown(ParserLimits::memoryFor(0));
  try {
    requireCountedExpansions(grown);
    FAIL() << "the expansions went uncounted, without a word";
  } catch (const TechnicalException& e) {
    EXPECT_NE(e.message().find("could not be bounded"), std::string::npos) << e.message();
  }
  ParserMemory asKnown(ParserLimits::memoryFor(0));
  EXPECT_NO_THROW(requireCountedExpansions(asKnown));
}

TEST_F(Library, WhichHandsOverNoElementToSignIsRefused) {
  Parsed parsed("<a>text</a>");
  xercesc::DOMDocument& document = parsed.document();
  const auto handedOver = [&](auto... node) {
    auto* source = new TXFMDocObject(&document);
    source->setInput(&document, node...);
    auto chain = std::make_unique<TXFMChain>(source);
    chain->appendTxfm(new TXFMC14n(&document));
    return chain;
  };
  std::unique_ptr<TXFMChain> chains[] = {std::make_unique<TXFMChain>(new TXFMDocObject(&document)),
                                         handedOver(),
                                         handedOver(document.getDocumentElement()->getFirstChild())};
#define VORN_ROW(name, method, ...) DSIGConstants::method,
  for (const XMLCh* uri : {VORN_SIGNATURE_ALGORITHMS(VORN_ROW)}) {
#undef VORN_ROW
    const XSECAlgorithmHandler* handler = XSECPlatformUtils::g_algorithmMapper->mapURIToHandler(uri);
    for (const auto& chain : chains) {
      safeBuffer result;
      try {
        handler->signToSafeBuffer(chain.get(), uri, nullptr, 0, result);
        ADD_FAILURE() << "something was signed";
      } catch (const XSECException& e) {
        EXPECT_EQ(toUtf8(e.getMsg()), "what is to be signed is not where it was expected");
      }
    }
  }
}

/** The library's memory, which fails with an exception of the library as long as it lives. */
class FailingMemory : public xercesc::MemoryManager {
 public:
  FailingMemory() { xercesc::XMLPlatformUtils::fgMemoryManager = this; }
  ~FailingMemory() override { xercesc::XMLPlatformUtils::fgMemoryManager = former_; }
  void* allocate(XMLSize_t) override {
    throw xercesc::RuntimeException("", 0, xercesc::XMLExcepts::CPtr_PointerIsZero, former_);
  }
  void deallocate(void* memory) override { former_->deallocate(memory); }
  xercesc::MemoryManager* getExceptionMemoryManager() override { return former_; }

 private:
  xercesc::MemoryManager* const former_ = xercesc::XMLPlatformUtils::fgMemoryManager;
};

TEST_F(Library, WhichFailsBeforeItParsesIsAFaultOfTheDocument) {
  const FailingMemory memory;
  EXPECT_EQ(refusalOf(toBase64("<a/>")),
            "103 Caught XMLException parsing request XML data. Exception message = NULL pointer");
}

}  // namespace
