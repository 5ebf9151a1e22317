#pragma once

#include <string_view>
#include <xsec/transformers/TXFMBase.hpp>

#include "shared/xml/Canonicaliser.h"

namespace vorn {

/**
 * The link of a chain of transforms that hands out the canonical bytes of
 * an element, whatever came before it.
 */
class CanonicalBytes : public TXFMBase {
 public:
  /** The node and what to omit, as for Canonicaliser. */
  CanonicalBytes(const xercesc::DOMElement& element, const xercesc::DOMNode* omitted);

  void setInput(TXFMBase* newInput) override;
  ioType getInputType() const override { return DOM_NODES; }
  ioType getOutputType() const override { return BYTE_STREAM; }
  nodeType getNodeType() const override { return DOM_NODE_NONE; }
  xercesc::DOMDocument* getDocument() const override { return document_; }
  unsigned int readBytes(XMLByte* const toFill, const unsigned int maxToFill) override;

 private:
  xercesc::DOMDocument* document_;
  Canonicaliser canonicaliser_;
  std::string_view run_;
};

}  // namespace vorn
