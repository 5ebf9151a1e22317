#include "shared/DocumentSerialiser.h"

#include <memory>
#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace {

struct Release {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};

constexpr int kInitialCapacity = 1023;

}  // namespace

std::string writeDocument(const xercesc::DOMDocument& document, xercesc::DOMImplementation& implementation) {
  xercesc::MemBufFormatTarget target(kInitialCapacity);
  const std::unique_ptr<xercesc::DOMLSSerializer, Release> serialiser(implementation.createLSSerializer());
  const std::unique_ptr<xercesc::DOMLSOutput, Release> output(implementation.createLSOutput());
  xercesc::DOMConfiguration* configuration = serialiser->getDomConfig();
  configuration->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false);
  // What is signed holds the text of entities and the default values of attributes. Verifiers like xmlsec take
  // neither from the internal subset, so both are written where they stand.
  configuration->setParameter(xercesc::XMLUni::fgDOMWRTEntities, false);
  configuration->setParameter(xercesc::XMLUni::fgDOMWRTDiscardDefaultContent, false);
  output->setEncoding(xercesc::XMLUni::fgUTF8EncodingString);
  output->setByteStream(&target);
  serialiser->write(&document, output.get());
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}
