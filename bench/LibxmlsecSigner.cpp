// The peer "libxmlsec's C API": signs documents one after another in one process.
//
// usage: bench-libxmlsec KEY.pem CERTIFICATE.pem
//        bench-libxmlsec-nss DATABASE
//
// Each line of standard input is the path of a document with its Signature templates in place, a tab, and the
// path for the signed document, which may be empty. One line goes out for each.

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/xmltree.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "LibxmlsecKey.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "bench-libxmlsec: " << what << '\n';
  std::exit(1);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  require(file.good(), "cannot read the document");
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

xmlNodePtr findSignature(xmlNodePtr root, const char* elementName) {
  const xmlNodePtr element = xmlSecFindNode(root, BAD_CAST elementName, nullptr);
  require(element != nullptr, "an element is missing");
  const xmlNodePtr signature = xmlSecFindNode(element, xmlSecNodeSignature, xmlSecDSigNs);
  require(signature != nullptr, "a template is missing");
  return signature;
}

std::string sign(const std::string& text, xmlSecKeyPtr key) {
  const xmlDocPtr document =
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_HUGE);
  require(document != nullptr, "cannot parse");
  for (const char* element : {"CounterpartData", "RenderedData"}) {
    const xmlSecDSigCtxPtr context = xmlSecDSigCtxCreate(nullptr);
    context->signKey = xmlSecKeyDuplicate(key);
    require(xmlSecDSigCtxSign(context, findSignature(xmlDocGetRootElement(document), element)) == 0,
            "cannot sign");
    xmlSecDSigCtxDestroy(context);
  }
  xmlChar* bytes = nullptr;
  int size = 0;
  xmlDocDumpMemory(document, &bytes, &size);
  std::string result(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
  xmlFree(bytes);
  xmlFreeDoc(document);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  xmlInitParser();
  require(xmlSecInit() == 0, "cannot start");
  const xmlSecKeyPtr key = loadKey(argc, argv);
  require(key != nullptr, "cannot load the key");

  for (std::string line; std::getline(std::cin, line);) {
    const std::size_t tab = line.find('\t');
    const std::string result = sign(readFile(line.substr(0, tab)), key);
    if (tab + 1 < line.size()) std::ofstream(line.substr(tab + 1), std::ios::binary) << result;
    std::cout << result.size() << std::endl;
  }
  return 0;
}
