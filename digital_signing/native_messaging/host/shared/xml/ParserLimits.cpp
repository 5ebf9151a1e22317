#include "shared/xml/ParserLimits.h"

#include <algorithm>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "shared/Exceptions.h"
#include "shared/xml/ParserMemory.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

// How often and how deeply entities may be expanded.
constexpr XMLSize_t kMaximumExpansions = 50000;
// Every level costs the library one more walk through all that stands below.
constexpr unsigned kMaximumEntityDepth = 20;
// The tree keeps all names in a table of 257 chains: a million names took more than two minutes, these take
// 60 ms.
constexpr std::size_t kMaximumNames = 50000;
// The tree sorts the attributes of an element by insertion.
constexpr XMLSize_t kMaximumAttributes = 10000;
// Each attribute-list declaration copies all attributes that its element has so far.
constexpr unsigned kMaximumAttributeDefinitions = 500;

}  // namespace

ParserLimits::ParserLimits(ParserMemory& memory, xercesc::XMLScanner& scanner, const ExpansionBudget& budget)
    : memory_(memory), scanner_(scanner), expandable_(budget.left()) {
  memory_.onExcess([this](const std::string& reason) { refuse(reason); });
  expansions_.setEntityExpansionLimit(kMaximumExpansions);
  scanner_.setSecurityManager(&expansions_);
}

void ParserLimits::refuse(const std::string& reason) const {
  throw xercesc::SAXParseException(toUtf16(reason).c_str(), *scanner_.getLocator());
}

void ParserLimits::enterElement(XMLSize_t attributeCount) {
  if (++elementDepth_ > deepestElement_) deepestElement_ = elementDepth_;
  if (elementDepth_ > kMaximumElementDepth)
    throw InvalidXMLDataException("Request XML data is invalid. Elements are nested too deeply");
  if (attributeCount > kMaximumAttributes) refuse("An element has too many attributes");
}

void ParserLimits::enterEntity(XMLSize_t length) {
  if (++entityDepth_ > kMaximumEntityDepth) refuse("Entities are nested too deeply");
  expandedContent_ += length;
  ++expansionsInContent_;
}

std::size_t ParserLimits::expandedCharacters() const {
  // Nothing is said of those in attributes and declarations but that they took place.
  const std::size_t all = memory_.expansions();
  const std::size_t elsewhere = all > expansionsInContent_ ? all - expansionsInContent_ : 0;
  return expandedContent_ + elsewhere * longestEntity_;
}

/** The library limits the number of expansions; this makes it a limit of expanded text as well. */
void ParserLimits::declareEntity(XMLSize_t length) {
  longestEntity_ = std::max(longestEntity_, length);
  const XMLSize_t limit = std::min(kMaximumExpansions, expandable_ / std::max<XMLSize_t>(longestEntity_, 1));
  memory_.limitExpansions(limit);
  expansions_.setEntityExpansionLimit(limit);
  scanner_.setSecurityManager(&expansions_);
}

void ParserLimits::declareAttribute() {
  if (++attributeDefinitions_ > kMaximumAttributeDefinitions)
    refuse("The document declares too many attributes");
}

void ParserLimits::countNames(std::size_t count) const {
  if (count > kMaximumNames) refuse("The document has too many names");
}

}  // namespace vorn
