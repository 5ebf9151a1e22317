#pragma once

#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "shared/xml/DocumentParser.h"

/** A document for as long as the object lives. */
class Parsed {
 public:
  explicit Parsed(const std::string& xml) {
    parser_.parse(
        xercesc::MemBufInputSource(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "test"));
  }
  xercesc::DOMDocument& document() { return *parser_.getDocument(); }

 private:
  // Counted by the library, so that it does no harm to do it again.
  struct Libraries {
    Libraries() { xercesc::XMLPlatformUtils::Initialize(); }
  };
  Libraries libraries_;
  ParserMemory memory_{DocumentParser::kMaximumBytes};
  DocumentParser parser_{memory_};
};
