#pragma once

#include <libxml/xpath.h>
#include <xmlsec/crypto.h>
#include <xmlsec/errors.h>
#include <xmlsec/parser.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>

#include <memory>
#include <string>

#include "fuzz/Require.h"

/** xmlsec as its program is, with one certificate that it trusts. */
class Libxmlsec {
 public:
  explicit Libxmlsec(const std::string& certificate) {
    xmlSubstituteEntitiesDefault(1);
    xmlLoadExtDtdDefaultValue = XML_DETECT_IDS | XML_COMPLETE_ATTRS;
    xmlSetGenericErrorFunc(nullptr, tellNobody);
    require(xmlSecInit() == 0 && xmlSecCryptoAppInit(nullptr) == 0 && xmlSecCryptoInit() == 0,
            "xmlsec starts");
    xmlSecErrorsDefaultCallbackEnableOutput(0);
    keys_ = xmlSecKeysMngrCreate();
    xmlSecCryptoAppDefaultKeysMngrInit(keys_);
    require(
        xmlSecCryptoAppKeysMngrCertLoadMemory(keys_, reinterpret_cast<const xmlSecByte*>(certificate.data()),
                                              static_cast<xmlSecSize>(certificate.size()),
                                              xmlSecKeyDataFormatDer, xmlSecKeyDataTypeTrusted) == 0,
        "xmlsec takes the certificate");
  }

  /** Whether the last signature in the element is good. */
  bool accepts(const std::string& xml, const std::string& element) const {
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlSecParseMemory(reinterpret_cast<const xmlSecByte*>(xml.data()),
                          static_cast<xmlSecSize>(xml.size()), 0),
        xmlFreeDoc);
    if (!document) return false;
    const std::unique_ptr<xmlXPathContext, void (*)(xmlXPathContext*)> paths(
        xmlXPathNewContext(document.get()), xmlXPathFreeContext);
    const std::string path = "//" + element + "/*[local-name()='Signature'][last()]";
    const std::unique_ptr<xmlXPathObject, void (*)(xmlXPathObject*)> found(
        xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path.c_str()), paths.get()),
        xmlXPathFreeObject);
    if (!found || xmlXPathNodeSetIsEmpty(found->nodesetval)) return false;
    const std::unique_ptr<xmlSecDSigCtx, void (*)(xmlSecDSigCtx*)> context(xmlSecDSigCtxCreate(keys_),
                                                                           xmlSecDSigCtxDestroy);
    xmlSecPtrListAdd(&context->keyInfoReadCtx.enabledKeyData,
                     const_cast<void*>(static_cast<const void*>(xmlSecKeyDataX509Id)));
    return xmlSecDSigCtxVerify(context.get(), found->nodesetval->nodeTab[0]) == 0 &&
           context->status == xmlSecDSigStatusSucceeded;
  }

 private:
  xmlSecKeysMngr* keys_;
};
