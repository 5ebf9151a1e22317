#pragma once

#include <string>
#include <xercesc/util/PlatformUtils.hpp>

#include "shared/xml/ParsedDocument.h"

/** A document for as long as the object lives, in a process that may not have started the library. */
class Parsed {
 public:
  explicit Parsed(const std::string& xml) : parsed_(xml) {}
  xercesc::DOMDocument& document() { return parsed_.document(); }

 private:
  // Counted by the library, so that it does no harm to do it again.
  struct Libraries {
    Libraries() { xercesc::XMLPlatformUtils::Initialize(); }
  };
  Libraries libraries_;
  vorn::ParsedDocument parsed_;
};
