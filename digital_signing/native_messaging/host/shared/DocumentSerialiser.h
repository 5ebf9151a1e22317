#pragma once

#include <string>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMImplementation;
XERCES_CPP_NAMESPACE_END

/** The document as UTF-8 text with an XML declaration, and no whitespace added. */
std::string writeDocument(const xercesc::DOMDocument& document, xercesc::DOMImplementation& implementation);
