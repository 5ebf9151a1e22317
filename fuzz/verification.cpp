// Documents through the check of signatures. There is one key, which has signed one document of two parts: a
// part that is intact is one of these, with nothing altered in it, whatever the input did to the document;
// and a document that passes is one that xmlsec accepts.

#include <xercesc/dom/DOM.hpp>

#include <array>
#include <cstdint>
#include <ctime>
#include <string>

#include "fuzz/Identity.h"
#include "fuzz/Libxmlsec.h"
#include "fuzz/Require.h"
#include "shared/XMLSigner.h"
#include "shared/base/Base64.h"
#include "shared/verification/Coverage.h"
#include "shared/verification/DocumentCheck.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/SignatureWarnings.h"
#include "signing/TestIdentity.h"
#include "vornctl/verdict/DocumentVerdict.h"

using namespace vorn;

namespace {

/** Pieces of the signed document, which inputs name by the bytes from 16 on: no XML 1.0 has these. */
constexpr std::uint8_t kFirstPiece = 16;
std::vector<std::string> pieces;
std::array<std::string, 2> signedForms;
const Libxmlsec* others;
vornctl::VerdictRules rules;

std::string canonicalForm(const xercesc::DOMElement& element, const xercesc::DOMNode* omitted) {
  Canonicaliser canonical(element, omitted);
  std::string bytes;
  for (std::string_view run = canonical.next(); !run.empty(); run = canonical.next()) bytes += run;
  return bytes;
}

/** The part less the last of its children that is called Signature. */
std::string formOf(const xercesc::DOMElement& part) {
  const xercesc::DOMElement* child = part.getLastElementChild();
  while (child != nullptr && std::u16string_view(child->getNodeName()) != u"Signature")
    child = child->getPreviousElementSibling();
  return canonicalForm(part, child);
}

std::string expanded(const std::uint8_t* data, std::size_t size) {
  std::string xml;
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t piece = data[i] - std::size_t{kFirstPiece};
    piece < pieces.size() ? xml += pieces[piece] : xml += static_cast<char>(data[i]);
  }
  return xml;
}

void cut(const std::string& xml) {
  std::size_t from = 0;
  for (const char* next : {"<CounterpartData>", "<Signature ", "<SignatureValue>", "<KeyInfo>",
                           "</Signature>", "</CounterpartData>", "<RenderedData>", "<Signature ",
                           "<SignatureValue>", "<KeyInfo>", "</Signature>"}) {
    const std::size_t at = xml.find(next, from + 1);
    require(at != std::string::npos, "the layout of a signed document");
    pieces.push_back(xml.substr(from, at - from));
    from = at;
  }
  pieces.push_back(xml.substr(from));
}

void requireOneMind(const std::string& xml) {
  if (vornctl::judge(xml, rules).indication != vornctl::Indication::kPassed) return;
  for (const char* part : {"CounterpartData", "RenderedData"})
    require(others->accepts(xml, part), "what passes is accepted by others");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  startWithIdentity();
  const std::string certificate(fromBase64(testIdentity().certificateBase64).value().view());
  others = new Libxmlsec(certificate);
  rules = {.authorities = vornctl::Authorities{.trusted = {certificate}}, .time = std::time(nullptr)};
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
  const std::string xml(
      fromBase64(XMLSigner::getInstance().sign(
                     toBase64("<A><CounterpartData>12.<b c='d'/>50</CounterpartData><RenderedData/></A>")))
          .value()
          .view());
  ParsedDocument parsed(xml);
  const verification::PartChecks checks = verification::checkDocument(parsed.document());
  for (std::size_t i = 0; i < checks.size(); ++i) {
    require(checks[i].isIntact(), "what was just signed is intact");
    signedForms[i] = formOf(*checks[i].element);
  }
  requireOneMind(xml);
  require(vornctl::judge(xml, rules).indication == vornctl::Indication::kPassed,
          "what was just signed passes");
  cut(xml);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  refusalOf([data, size] {
    const std::string xml = expanded(data, size);
    ParsedDocument parsed(xml);
    const verification::PartChecks checks = verification::checkDocument(parsed.document());
    for (std::size_t i = 0; i < checks.size(); ++i) {
      if (!checks[i].isIntact()) continue;
      require(formOf(*checks[i].element) == signedForms[i], "what is intact is what was signed");
      require(!verification::pathOf(*checks[i].element).empty(), "it stands somewhere");
    }
    if (checks[0].isIntact() && checks[1].isIntact()) requireOneMind(xml);
    warningsOf(parsed, SigningStage::kAfter);
  });
  return 0;
}
