#include "shared/xml/CanonicalBytes.h"

#include <algorithm>
#include <cstring>
#include <xsec/transformers/TXFMChain.hpp>

namespace vorn {

CanonicalBytes::CanonicalBytes(const xercesc::DOMElement& element, const xercesc::DOMNode* omitted)
    : TXFMBase(element.getOwnerDocument()),
      document_(element.getOwnerDocument()),
      canonicaliser_(element, omitted) {}

void CanonicalBytes::setInput(TXFMBase* newInput) {
  // The chain deletes the input through this.
  input = newInput;
  keepComments = false;
}

unsigned int CanonicalBytes::readBytes(XMLByte* const toFill, const unsigned int maxToFill) {
  if (run_.empty()) run_ = canonicaliser_.next();
  const std::size_t count = std::min<std::size_t>(run_.size(), maxToFill);
  if (count > 0) {
    std::memcpy(toFill, run_.data(), count);
    run_.remove_prefix(count);
  }
  return static_cast<unsigned int>(count);
}

void ElementDigestTransform::appendTransformer(TXFMChain* chain) {
  chain->appendTxfm(new CanonicalBytes(element_, &signature_));
}

}  // namespace vorn
