#include "shared/ElementDigestTransform.h"

#include <xsec/transformers/TXFMChain.hpp>

#include "shared/CanonicalBytes.h"

void ElementDigestTransform::appendTransformer(TXFMChain* chain) {
  chain->appendTxfm(new CanonicalBytes(element_, &signature_, &relativeNamespace_));
}
