// Canonical forms of documents against those that libxml2 makes: of the document as it came, and of what is
// written of it, which libxml2 reads without a look at its document type.

#include <libxml/c14n.h>
#include <libxml/parser.h>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fuzz/Require.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/DocumentSerialiser.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/SignatureWarnings.h"
#include "shared/xml/TreeWalk.h"

using namespace vorn;

namespace {

/** Of the first so many elements of a document, so that long ones take no longer. */
constexpr std::size_t kMostForms = 12;
using Forms = std::vector<std::string>;

Forms formsOf(const xercesc::DOMDocument& document) {
  Forms forms;
  for (TreeWalk<const xercesc::DOMNode> walk(document.getDocumentElement()); walk.node() != nullptr;
       walk.advance()) {
    if (walk.leaving() || walk.node()->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
    Canonicaliser canonical(static_cast<const xercesc::DOMElement&>(*walk.node()), nullptr);
    std::string& form = forms.emplace_back();
    for (std::string_view run = canonical.next(); !run.empty(); run = canonical.next()) form += run;
    if (forms.size() == kMostForms) break;
  }
  return forms;
}

std::string written(const xercesc::DOMDocument& document) {
  auto* const implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
  xercesc::DOMLSOutput* const output = implementation->createLSOutput();
  xercesc::MemBufFormatTarget target;
  output->setByteStream(&target);
  writeDocument(document, *output);
  output->release();
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}

int isInside(void* apex, xmlNode* node, xmlNode* parent) {
  const bool isOfElement = node->type == XML_NAMESPACE_DECL || node->type == XML_ATTRIBUTE_NODE;
  for (const xmlNode* at = isOfElement ? parent : node; at != nullptr; at = at->parent)
    if (at == apex) return 1;
  return 0;
}

std::string formOf(xmlNode* element) {
  xmlOutputBuffer* const buffer = xmlAllocOutputBuffer(nullptr);
  const bool isMade = xmlC14NExecute(element->doc, isInside, element, XML_C14N_1_0, nullptr, 0, buffer) >= 0;
  std::string form(isMade ? reinterpret_cast<const char*>(xmlOutputBufferGetContent(buffer)) : "",
                   isMade ? xmlOutputBufferGetSize(buffer) : 0);
  xmlOutputBufferClose(buffer);
  return form;
}

/** Those of libxml2; none when it cannot read the text. */
Forms formsOfLibxml2(std::string_view text, int options) {
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, options | XML_PARSE_NONET),
      xmlFreeDoc);
  Forms forms;
  xmlNode* node = document ? xmlDocGetRootElement(document.get()) : nullptr;
  while (node != nullptr && forms.size() < kMostForms) {
    if (node->type == XML_ELEMENT_NODE) forms.push_back(formOf(node));
    xmlNode* next = node->type == XML_ELEMENT_NODE ? node->children : nullptr;
    for (; next == nullptr && node != nullptr; node = node->parent) next = node->next;
    node = next;
  }
  return forms;
}

void requireSame(const Forms& ours, const Forms& theirs, std::string_view text) {
  for (std::size_t i = 0; i < std::max(ours.size(), theirs.size()); ++i) {
    if (i < ours.size() && i < theirs.size() && ours[i] == theirs[i]) continue;
    std::fprintf(stderr, "of: %.*s\nours:   %s\ntheirs: %s\n", static_cast<int>(text.size()), text.data(),
                 i < ours.size() ? ours[i].c_str() : "none", i < theirs.size() ? theirs[i].c_str() : "none");
    require(false, "the canonical forms are the same");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  xercesc::XMLPlatformUtils::Initialize();
  xmlSetGenericErrorFunc(nullptr, tellNobody);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  refusalOf([text] {
    ParsedDocument parsed(text);
    std::set<std::string_view> codes;
    for (const SignatureWarning& warning : warningsOf(parsed, SigningStage::kBefore))
      codes.insert(warning.code);
    // libxml2 reads such names in its own ways, or has no canonical form for them.
    for (const char* code : {"namespace-form", "namespace-name", "namespace-ampersand"})
      if (codes.contains(code)) return;
    const Forms ours = formsOf(parsed.document());
    const std::string again = written(parsed.document());
    const Forms theirs = formsOfLibxml2(again, 0);
    require(!theirs.empty() || !codes.empty(), "what nothing is said of is read");
    if (!theirs.empty()) requireSame(ours, theirs, again);
    if (codes.contains("xml-1.1") || codes.contains("document-type")) return;
    if (const Forms direct = formsOfLibxml2(text, 0); !direct.empty()) requireSame(ours, direct, text);
  });
  return 0;
}
