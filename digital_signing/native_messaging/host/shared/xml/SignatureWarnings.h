#pragma once

#include <log4cplus/logger.h>

#include <string>
#include <xercesc/util/XercesDefs.hpp>

#include "shared/xml/Canonicaliser.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/**
 * Documents that are signed as asked but that some or all verifiers will refuse for a reason that lies in the
 * document. Each is logged at WARN, with the name of the signed element.
 */
void warnOfVerifiers(const log4cplus::Logger& logger, const xercesc::DOMElement& element,
                     const std::string& name);
void warnOfNames(const log4cplus::Logger& logger, const std::string& name, const DoubtfulNames& doubtful);

}  // namespace vorn
