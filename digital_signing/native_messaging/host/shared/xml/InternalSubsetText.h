#pragma once

#include <string>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DTDAttDef;
class DTDEntityDecl;
class XMLNotationDecl;
XERCES_CPP_NAMESPACE_END

/**
 * Declarations as text that reads back with the same meaning. The library's own text of them quotes without
 * escaping, loses the names of notation types, and turns the characters that character references stood for
 * into markup.
 */
std::u16string entityDeclarationText(const xercesc::DTDEntityDecl& declaration);
std::u16string notationDeclarationText(const xercesc::XMLNotationDecl& declaration);
/** One attribute of an attribute-list declaration, without the list's frame. */
std::u16string attributeDefinitionText(const xercesc::DTDAttDef& attribute);

/** A system identifier between quotes that are not in it: it cannot hold both kinds. */
std::u16string systemLiteral(const XMLCh* systemId);
