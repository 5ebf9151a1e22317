#include "shared/xml/ElementDigestTransform.h"

#include <xsec/transformers/TXFMChain.hpp>

#include "shared/xml/CanonicalBytes.h"

namespace vorn {

void ElementDigestTransform::appendTransformer(TXFMChain* chain) {
  chain->appendTxfm(new CanonicalBytes(element_, &signature_));
}

}  // namespace vorn
