#include "vornctl/verdict/DocumentWarnings.h"

#include "shared/xml/ParsedDocument.h"
#include "shared/xml/XmlLibraries.h"

namespace vorn::vornctl {

std::vector<SignatureWarning> warningsOfSigning(const std::string& xml, const std::string& algorithm) {
  startXmlLibraries();
  std::vector<SignatureWarning> warnings;
  refusalOf([&] {
    ParsedDocument parsed(xml);
    warnings = warningsOf(parsed, SigningStage::kBefore, algorithmNamed(algorithm));
  });
  return warnings;
}

}  // namespace vorn::vornctl
