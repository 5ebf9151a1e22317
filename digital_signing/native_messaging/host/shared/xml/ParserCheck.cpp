#include "shared/xml/ParserCheck.h"

#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>

#include "shared/base/Exceptions.h"
#include "shared/xml/DocumentParser.h"
#include "shared/xml/ParserMemory.h"

namespace vorn {

void requireCountedExpansions(ParserMemory& memory) {
  constexpr std::string_view kDocument = "<!DOCTYPE a [<!ENTITY % e ''>%e;%e;%e;]><a/>";
  constexpr std::size_t kExpansions = 3;
  DocumentParser parser(memory, ExpansionBudget());
  parser.parse(xercesc::MemBufInputSource(reinterpret_cast<const XMLByte*>(kDocument.data()),
                                          kDocument.size(), "check", false));
  if (memory.expansions() != kExpansions) {
    throw TechnicalException(
        "The XML library is not one that this program knows: what documents expand could not be bounded");
  }
}

}  // namespace vorn
