#include "shared/xml/SignatureProvider.h"

#include <xercesc/util/BinInputStream.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECURIResolver.hpp>

namespace vorn {
namespace {

class RefusingResolver : public XSECURIResolver {
 public:
  xercesc::BinInputStream* resolveURI(const XMLCh*) override {
    throw XSECException(XSECException::ErrorOpeningURI,
                        "a signature refers to something outside of the document");
  }
  void setBaseURI(const XMLCh*) override {}
  XSECURIResolver* clone() override { return new RefusingResolver; }
};

}  // namespace

SignatureProvider::SignatureProvider() {
  // Without one, releases of the library differ: some open what a signature names, others end the process.
  RefusingResolver resolver;
  setDefaultURIResolver(&resolver);
}

}  // namespace vorn
