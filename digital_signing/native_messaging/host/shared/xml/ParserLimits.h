#pragma once

#include <cstddef>
#include <string>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class XMLScanner;
XERCES_CPP_NAMESPACE_END

namespace vorn {

class ParserMemory;

/** How many characters the entities of one document, or of several together, may still expand to. */
class ExpansionBudget {
 public:
  std::size_t left() const { return left_; }
  void charge(std::size_t characters) { left_ -= characters < left_ ? characters : left_; }

 private:
  std::size_t left_ = std::size_t{16} << 20;
};

/**
 * How large, how deep and how wide a document may be: memory and time of a parse are bounded, and time grows
 * with the length alone. The parser reports what it meets; what passes a limit raises a SAXParseException
 * with the place, and elements that are nested too deeply an InvalidXMLDataException.
 */
class ParserLimits {
 public:
  static constexpr unsigned kMaximumElementDepth = 1000;
  // The tree keeps all names in a table of 257 chains: a million names took more than two minutes, these take
  // 60 ms.
  static constexpr std::size_t kMaximumNames = 50000;

  /**
   * The bytes that a document of so many bytes may take. Elements of four bytes, the worst of the harmless,
   * take 80 for each byte; 10 MiB of `<a/>` need 0.5 GB. With the document's own bytes, the largest of which
   * are 48 MiB, a program stays below 1 GiB.
   */
  static constexpr std::size_t memoryFor(std::size_t documentBytes) {
    constexpr std::size_t kMaximum = std::size_t{896} << 20;
    constexpr std::size_t kBase = std::size_t{128} << 20;
    constexpr std::size_t kPerByte = 128;
    return documentBytes < (kMaximum - kBase) / kPerByte ? kBase + kPerByte * documentBytes : kMaximum;
  }

  /** Memory and scanner have to outlive this object. */
  ParserLimits(ParserMemory& memory, xercesc::XMLScanner& scanner, const ExpansionBudget& budget);
  ParserLimits(const ParserLimits&) = delete;
  ParserLimits& operator=(const ParserLimits&) = delete;

  void enterElement(XMLSize_t attributeCount);
  void leaveElement() { --elementDepth_; }
  /** Of all elements so far. */
  unsigned deepestElement() const { return deepestElement_; }
  /** To how many characters entities were expanded: not less than it was. */
  std::size_t expandedCharacters() const;
  void enterEntity(XMLSize_t length);
  void leaveEntity() { --entityDepth_; }
  void declareEntity(XMLSize_t length);
  void declareAttribute();
  /** Told how many different names there are now. */
  void countNames(std::size_t count) const;

  /** Refuses the document for the reason, at the place that the parser has reached. */
  [[noreturn]] void refuse(const std::string& reason) const;

 private:
  void limitExpansions();

  ParserMemory& memory_;
  xercesc::XMLScanner& scanner_;
  xercesc::SecurityManager expansions_;
  const XMLSize_t expandable_;
  XMLSize_t longestEntity_ = 0;
  XMLSize_t expandedContent_ = 0;
  XMLSize_t expansionsInContent_ = 0;
  unsigned elementDepth_ = 0;
  unsigned deepestElement_ = 0;
  unsigned entityDepth_ = 0;
  unsigned attributeDefinitions_ = 0;
};

}  // namespace vorn
