#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

namespace vorn {

/** The elements that are signed, in this order. */
inline constexpr const char* kSignedElements[] = {"CounterpartData", "RenderedData"};

/** The elements that our signatures are made of, and their attributes. */
inline constexpr std::u16string_view kElementsOfSignature[] = {
    u"Signature",       u"SignedInfo",     u"CanonicalizationMethod",
    u"SignatureMethod", u"Reference",      u"Transforms",
    u"Transform",       u"XPath",          u"DigestMethod",
    u"DigestValue",     u"SignatureValue", u"KeyInfo",
    u"KeyValue",        u"RSAKeyValue",    u"Modulus",
    u"Exponent",        u"X509Data",       u"X509Certificate"};
inline constexpr std::u16string_view kAttributesOfSignature[] = {u"xmlns", u"Algorithm", u"URI", u"Filter"};
/** From the signed element down to the XPath element of its signature. */
inline constexpr unsigned kLevelsOfSignature = 6;

/** Whether the name is one of the list. */
template <std::size_t size>
bool isNamed(const std::u16string_view (&list)[size], std::u16string_view name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

/** The elements of one name. */
struct NamedElements {
  std::size_t count = 0;
  xercesc::DOMElement* first = nullptr; /**< in document order; null when there is none */
};

/** The elements of the document with this name, as written, prefix included. When the parser that made the
 * document keeps an index of it, this costs nothing; otherwise it walks through the document once. */
NamedElements findElements(const xercesc::DOMDocument& document, const std::string& name);

/** Whether the element is part of what an entity holds, which cannot be changed. */
bool comesOutOfEntity(const xercesc::DOMElement& element);

/** How many elements there are from the root down to this one: one for the root. */
unsigned levelOf(const xercesc::DOMElement& element);

/** The XML signatures among the children of an element. */
struct ChildSignatures {
  std::size_t count = 0;
  const xercesc::DOMElement* last = nullptr; /**< null when there is none */
};

/** Told by the namespaces that the prefixes stand for; the tree may have been made without namespace
 * processing. Takes time for the children, for the attributes of the elements around, and no more. */
ChildSignatures findSignatures(const xercesc::DOMElement& parent);

/** What a parser has noted of the elements of one document while it made them. `findElements` answers from it
 * as long as the index exists and is not forgotten. */
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

  /** Drops the index of the document, if there is one: to be called before elements are renamed or removed.
   */
  static void forget(const xercesc::DOMDocument& document);

 private:
  xercesc::DOMDocument* document_ = nullptr;
  std::unordered_map<const XMLCh*, NamedElements> names_;
};

}  // namespace vorn
