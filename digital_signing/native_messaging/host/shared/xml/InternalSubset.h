#pragma once

#include <string>
#include <xercesc/framework/XMLBuffer.hpp>
#include <xercesc/framework/XMLNotationDecl.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

namespace vorn {

/** Declarations as text that reads back with the same meaning. The library's own text of them quotes without
 * escaping, loses the names of notation types, and turns the characters that character references stood for
 * into markup. */
std::u16string entityDeclarationText(const xercesc::DTDEntityDecl& declaration);
std::u16string notationDeclarationText(const xercesc::XMLNotationDecl& declaration);
/** One attribute of an attribute-list declaration, without the list's frame. */
std::u16string attributeDefinitionText(const xercesc::DTDAttDef& attribute);

/** The text of a document type's internal subset: the library's own, but for the
 * declarations that it writes wrongly. */
class InternalSubset {
 public:
  /** `libraryText` is what the library's parser writes as it reads. It has to outlive this object. */
  explicit InternalSubset(const xercesc::XMLBuffer& libraryText) : libraryText_(libraryText) {}

  /** Takes what the library has written since the last call of either function. */
  void keep();
  /** Takes the text in place of what the library has written since. */
  void replace(const std::u16string& text);

  const std::u16string& text() const { return text_; }

 private:
  const xercesc::XMLBuffer& libraryText_;
  XMLSize_t taken_ = 0;
  std::u16string text_;
};

}  // namespace vorn
