#pragma once

#include <cstddef>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
XERCES_CPP_NAMESPACE_END

/**
 * The document as UTF-8 with an XML declaration and no whitespace added; any parser reads it back as the same
 * tree.
 *
 * Room is made for `expectedSize` bytes at once.
 *
 * The form is that of the library's serialiser, byte for byte, but what is signed stands in the document
 * itself: text in place of references to entities, and default attributes, as verifiers like xmlsec take
 * neither from the internal subset. The library's serialiser is not used as it recurses, takes quadratic time
 * over comments (for each it looks for a sibling that is an element), and loses a carriage return in a CDATA
 * section.
 */
std::string writeDocument(const xercesc::DOMDocument& document, std::size_t expectedSize = 0);
