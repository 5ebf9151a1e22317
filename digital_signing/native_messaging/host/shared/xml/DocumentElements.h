#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** The elements of one name. */
struct NamedElements {
  std::size_t count = 0;
  xercesc::DOMElement* first = nullptr; /**< in document order; null when there is none */
};

/**
 * The elements of the document with this name, as written, prefix included. When the parser that made the
 * document keeps an index of it, this costs nothing; otherwise it walks through the document once.
 */
NamedElements findElements(const xercesc::DOMDocument& document, const std::string& name);

/** Whether the element is part of what an entity holds, which cannot be changed. */
bool comesOutOfEntity(const xercesc::DOMElement& element);

/**
 * What a parser has noted of the elements of one document while it made them. `findElements` answers from it
 * as long as the index exists and is not forgotten.
 */
class ElementIndex {
 public:
  ElementIndex() = default;
  ~ElementIndex();
  ElementIndex(const ElementIndex&) = delete;
  ElementIndex& operator=(const ElementIndex&) = delete;

  /** From now on this is the index of the document, which is still empty. */
  void enter(xercesc::DOMDocument& document);

  /** The entry of a name at the address at which the tree keeps it: the same name has the same address. */
  NamedElements& at(const XMLCh* pooledName) { return names_[pooledName]; }
  /** How many names have an entry. */
  std::size_t size() const { return names_.size(); }

  NamedElements find(const std::string& name) const;

  /** Calls `visit` with each name, of attributes too, and its elements. */
  template <typename Visit>
  void forEach(Visit visit) const {
    for (const auto& [name, elements] : names_) visit(std::u16string_view(name), elements);
  }

  /**
   * Drops the index of the document, if there is one: to be called before elements are renamed or removed.
   */
  static void forget(const xercesc::DOMDocument& document);

 private:
  xercesc::DOMDocument* document_ = nullptr;
  std::unordered_map<const XMLCh*, NamedElements> names_;
};

}  // namespace vorn
