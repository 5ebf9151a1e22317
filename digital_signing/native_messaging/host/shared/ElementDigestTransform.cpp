#include "shared/ElementDigestTransform.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <xsec/transformers/TXFMBase.hpp>
#include <xsec/transformers/TXFMChain.hpp>

#include "shared/Canonicaliser.h"

namespace {

/** The link of a transform chain that hands out the canonical bytes, whatever came before it. */
class CanonicalBytes : public TXFMBase {
 public:
  CanonicalBytes(const xercesc::DOMElement& element, const xercesc::DOMNode& signature,
                 std::string& relativeNamespace)
      : TXFMBase(element.getOwnerDocument()),
        canonicaliser_(element, &signature),
        relativeNamespace_(relativeNamespace) {}

  void setInput(TXFMBase* newInput) override {
    input = newInput;
    keepComments = false;
  }
  ioType getInputType() const override { return DOM_NODES; }
  ioType getOutputType() const override { return BYTE_STREAM; }
  nodeType getNodeType() const override { return DOM_NODE_NONE; }

  unsigned int readBytes(XMLByte* const toFill, const unsigned int maxToFill) override {
    if (run_.empty()) run_ = canonicaliser_.next();
    const std::size_t count = std::min<std::size_t>(run_.size(), maxToFill);
    if (count > 0) std::memcpy(toFill, run_.data(), count);
    run_.remove_prefix(count);
    if (count == 0) relativeNamespace_ = canonicaliser_.relativeNamespace();
    return static_cast<unsigned int>(count);
  }

 private:
  Canonicaliser canonicaliser_;
  std::string& relativeNamespace_;
  std::string_view run_;
};

}  // namespace

void ElementDigestTransform::appendTransformer(TXFMChain* chain) {
  chain->appendTxfm(new CanonicalBytes(element_, signature_, relativeNamespace_));
}
