#pragma once

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>

namespace vorn {

/**
 * Writes the document to the output's byte stream: as UTF-8 with an XML declaration and no whitespace added.
 * Any parser reads it back as the same tree.
 *
 * The form is that of the library's serialiser, byte for byte, but what is signed stands in the
 * document itself: text in place of references to entities, and default attributes, as verifiers
 * like xmlsec take neither from the internal subset. The library's serialiser is not used as it
 * recurses, takes quadratic time over comments (for each it looks for a sibling that is an element),
 * and loses a carriage return in a CDATA section.
 */
void writeDocument(const xercesc::DOMDocument& document, const xercesc::DOMLSOutput& output);

}  // namespace vorn
