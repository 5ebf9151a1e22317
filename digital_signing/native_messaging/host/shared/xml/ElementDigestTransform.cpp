#include "shared/xml/ElementDigestTransform.h"

#include <xsec/transformers/TXFMChain.hpp>

#include "shared/xml/CanonicalBytes.h"

void ElementDigestTransform::appendTransformer(TXFMChain* chain) {
  chain->appendTxfm(new CanonicalBytes(element_, &signature_, &relativeNamespace_));
}
