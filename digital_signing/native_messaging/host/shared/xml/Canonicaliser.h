#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "shared/xml/Namespaces.h"
#include "shared/xml/TreeWalk.h"

namespace vorn {

/**
 * Canonical XML 1.0 without comments of one element and all that it holds, less one node, as bytes.
 *
 * The tree may have been made without namespace processing: names are split and namespaces resolved here,
 * from the attributes as written. A prefix that nothing declares leaves the name as a whole without a
 * namespace, and declarations that the namespace recommendation forbids are ignored: verifiers that accept
 * such documents do so too.
 *
 * The walk does not recurse, allocates nothing per node, and hands the bytes out in runs.
 */
class Canonicaliser {
 public:
  /** The tree has to stay as it is while the bytes are read. `omitted` may be null. */
  Canonicaliser(const xercesc::DOMElement& apex, const xercesc::DOMNode* omitted);

  /** The next run of bytes, valid until the next call; empty when all has been read. */
  std::string_view next();

 private:
  struct Attribute {
    std::u16string_view uri;
    std::u16string_view local;
    const xercesc::DOMNode* node;
  };

  void enter(const xercesc::DOMNode& node);
  void leave(const xercesc::DOMNode& node);
  void startElement(const xercesc::DOMNode& element);
  void declareInherited();
  void declareNamespaces(const xercesc::DOMNode& element);
  void settleDeclarations();
  void collectAttributes(const xercesc::DOMNode& element);
  void collectInherited();
  void writeNamespaces();
  void writeAttributes();

  const xercesc::DOMNode* apex_;
  const xercesc::DOMNode* omitted_;
  TreeWalk<const xercesc::DOMNode> walk_;
  std::string out_;
  NamespaceScope scope_;
  // Of the element being started; members so that they need not be allocated for each.
  std::vector<NamespaceScope::Declaration> declarations_;
  std::vector<Attribute> attributes_;
};

}  // namespace vorn
