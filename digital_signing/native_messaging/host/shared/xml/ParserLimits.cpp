#include "shared/xml/ParserLimits.h"

#include <algorithm>
#include <cstdlib>
#include <xercesc/internal/XMLReader.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "shared/base/Exceptions.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

// How often and how deeply entities may be expanded.
constexpr XMLSize_t kMaximumExpansions = 50000;
// Every level costs the library one more walk through all that stands below.
constexpr unsigned kMaximumEntityDepth = 20;
// The tree sorts the attributes of an element by insertion.
constexpr XMLSize_t kMaximumAttributes = 10000;
// Each attribute-list declaration copies all attributes that its element has so far.
constexpr unsigned kMaximumAttributeDefinitions = 500;

// What `new (manager) XMLReader` asks of its manager.
std::size_t readerBlockSize() {
  return xercesc::XMLPlatformUtils::alignPointerForNewBlockAllocation(sizeof(xercesc::MemoryManager*)) +
         sizeof(xercesc::XMLReader);
}

}  // namespace

ParserMemory::~ParserMemory() {
  while (blocks_.next != &blocks_) deallocate(reinterpret_cast<char*>(blocks_.next) + kHeader);
}

void* ParserMemory::allocate(XMLSize_t size) {
  if (size > maximumBytes_ || size + kOverhead > maximumBytes_ - liveBytes_)
    excess("The document needs too much memory");
  if (size == readerBlockSize() && maximumExpansions_ && ++expansions_ > *maximumExpansions_)
    excess("The document expands too many or too large entities");
  auto* block = static_cast<Block*>(std::malloc(kHeader + size));
  if (block == nullptr) throw xercesc::OutOfMemoryException();
  *block = {blocks_.previous, &blocks_, size};
  block->previous->next = block;
  blocks_.previous = block;
  liveBytes_ += size + kOverhead;
  return reinterpret_cast<char*>(block) + kHeader;
}

void ParserMemory::deallocate(void* memory) {
  if (memory == nullptr) return;
  auto* block = reinterpret_cast<Block*>(static_cast<char*>(memory) - kHeader);
  block->previous->next = block->next;
  block->next->previous = block->previous;
  liveBytes_ -= block->size + kOverhead;
  std::free(block);
}

xercesc::MemoryManager* ParserMemory::getExceptionMemoryManager() {
  // Exceptions outlive the parse.
  return xercesc::XMLPlatformUtils::fgMemoryManager->getExceptionMemoryManager();
}

void ParserMemory::excess(const std::string& reason) {
  if (refuse_) refuse_(reason);
  throw xercesc::OutOfMemoryException();
}

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
  limitExpansions();
}

std::size_t ParserLimits::expandedCharacters() const {
  // Nothing is said of those in attributes and declarations but that they took place.
  const std::size_t all = memory_.expansions();
  const std::size_t elsewhere = all > expansionsInContent_ ? all - expansionsInContent_ : 0;
  return expandedContent_ + elsewhere * longestEntity_;
}

void ParserLimits::declareEntity(XMLSize_t length) {
  longestEntity_ = std::max(longestEntity_, length);
  limitExpansions();
}

/** Makes the limit of how often entities are expanded one of expanded text as well: those in content by their
 * own length, all others, which have none that is told, as the longest. The next one may be of content, and
 * is looked at when that is known. */
void ParserLimits::limitExpansions() {
  if (expandedCharacters() > expandable_) refuse("The document expands too many or too large entities");
  const XMLSize_t left = expandable_ - expandedContent_;
  const XMLSize_t others = left / std::max<XMLSize_t>(longestEntity_, 1);
  memory_.limitExpansions(std::min(kMaximumExpansions, expansionsInContent_ + others + 1));
}

void ParserLimits::declareAttribute() {
  if (++attributeDefinitions_ > kMaximumAttributeDefinitions)
    refuse("The document declares too many attributes");
}

void ParserLimits::countNames(std::size_t count) const {
  if (count > kMaximumNames) refuse("The document has too many names");
}

}  // namespace vorn
