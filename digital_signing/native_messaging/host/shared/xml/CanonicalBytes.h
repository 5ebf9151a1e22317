#pragma once

#include <string_view>
#include <xercesc/dom/DOMElement.hpp>
#include <xsec/dsig/DSIGTransform.hpp>
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

/**
 * Stands in for the three transforms of a signature's reference (the filter that keeps one element, the
 * enveloped signature, the canonicalisation) when the reference is digested: hands the digest the canonical
 * form of `element` less `signature`. The elements that describe the three stay in the document.
 *
 * The library as Debian builds it cannot run the filter, and no build of it can run the enveloped signature
 * after one in less than quadratic time. Its canonicaliser, besides, puts the attributes of a tree that was
 * parsed without namespace processing in the wrong order.
 *
 * Comments are left out whatever the algorithm says: a reference with an empty URI selects none.
 */
class ElementDigestTransform : public DSIGTransform {
 public:
  ElementDigestTransform(const xercesc::DOMElement& element, const xercesc::DOMNode& signature)
      : DSIGTransform(nullptr), element_(element), signature_(signature) {}

  void appendTransformer(TXFMChain* chain) override;
  /** There is none to make: the document holds the elements already. */
  xercesc::DOMElement* createBlankTransform(xercesc::DOMDocument*) override { return nullptr; }
  void load() override {}

 private:
  const xercesc::DOMElement& element_;
  const xercesc::DOMNode& signature_;
};

}  // namespace vorn
