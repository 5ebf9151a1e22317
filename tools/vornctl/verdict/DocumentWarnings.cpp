#include "vornctl/verdict/DocumentWarnings.h"

#include <optional>

#include "shared/base/Exceptions.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/ParserErrors.h"
#include "shared/xml/XmlLibraries.h"

namespace vorn::vornctl {
namespace {

std::optional<SignatureAlgorithm> algorithmNamed(const std::string& name) {
  for (const NamedAlgorithm& known : kSignatureAlgorithms)
    if (name == known.name) return known.algorithm;
  return std::nullopt;
}

}  // namespace

std::vector<SignatureWarning> warningsOfSigning(const std::string& xml, const std::string& algorithm) {
  startXmlLibraries();
  try {
    ParsedDocument parsed(xml);
    return warningsOf(parsed, SigningStage::kBefore, algorithmNamed(algorithm));
  } catch (const BaseException&) {
    return {};
  } catch (...) {
    if (!describeParserException()) throw;
    return {};
  }
}

}  // namespace vorn::vornctl
