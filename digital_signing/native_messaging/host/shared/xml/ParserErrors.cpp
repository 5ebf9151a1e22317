#include "shared/xml/ParserErrors.h"

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {

std::optional<std::string> describeParserException() {
  try {
    throw;
  } catch (const xercesc::SAXParseException& e) {
    return toUtf8(e.getMessage()) + " (line " + std::to_string(e.getLineNumber()) + ", column " +
           std::to_string(e.getColumnNumber()) + ")";
  } catch (const xercesc::SAXException& e) {
    return toUtf8(e.getMessage());
  } catch (const xercesc::XMLException& e) {
    return toUtf8(e.getMessage());
  } catch (const xercesc::DOMException& e) {
    return toUtf8(e.getMessage());
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace vorn
