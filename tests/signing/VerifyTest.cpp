#include <algorithm>

#include "shared/XMLSigner.h"
#include "shared/base/Base64.h"
#include "shared/verification/DocumentCheck.h"
#include "shared/xml/ParsedDocument.h"
#include "signing/RandomDocument.h"
#include "signing/SigningFixture.h"
#include "signing/TestIdentity.h"

using namespace vorn;

namespace {

class Verified : public SigningTest {
 protected:
  static void expectAll(const std::vector<std::string>& documents) {
    for (const char* element : {"CounterpartData", "RenderedData"}) {
      const std::vector<bool> verdicts = verify(documents, element);
      for (std::size_t i = 0; i < verdicts.size(); ++i)
        EXPECT_TRUE(verdicts[i]) << element << " of document " << i << ":\n" << documents[i].substr(0, 3000);
    }
  }
};

TEST_F(Verified, RandomDocumentsBySecondImplementation) {
  constexpr unsigned kCount = 150;
  std::vector<std::string> documents;
  for (unsigned i = 0; i < kCount; ++i) {
    XMLSigner::getInstance().initialise(static_cast<XMLSigner::SignatureAlgorithm>(i % 3));
    const std::string document = RandomDocument(i).bytes();
    ASSERT_EQ(refusalOf(toBase64(document)), "signed") << i << ":\n" << document;
    documents.push_back(signXml(document));
  }
  expectAll(documents);
}

TEST_F(Verified, DocumentsThatLookStrange) {
  std::string wide = "x";  // that the ends of blocks fall between two surrogates
  while (wide.size() < 4000000) wide += "\xF0\x9F\x98\x80 text \xC3\xA9\r\n&#13;]]&gt;";
  const std::string parts = "<CounterpartData p:b='1' a='2' p:a='3'>c</CounterpartData><RenderedData/>";
  std::vector<std::string> documents;
  const std::string cases[] = {
      "<r xmlns:xml='http://www.w3.org/XML/1998/namespace' xml:lang='en'>" + parts + "</r>",
      "<r xmlnsfoo='x' xmlns:p='urn:p'>" + parts + "</r>",
      "<r xmlns:p='urn:p'><m xmlns:p=''>" + parts + "</m></r>",
      "<r xml:id='a' xml:lang='b'><s xml:lang='d' xml:base='e'>" + parts + "</s></r>",
      "<r xmlns='urn:d'><m xmlns='http://www.w3.org/2000/09/xmldsig#'><n xmlns=''>" + parts + "</n></m></r>",
      "<r><CounterpartData a:b:c='1' :z='3' y:='4'/><RenderedData><a:b:c/><:x/></RenderedData></r>",
      "<r><CounterpartData><ds:Signature "
      "xmlns:ds='http://www.w3.org/2000/09/xmldsig#'/></CounterpartData><RenderedData/></r>",
      "<?xml version='1.1'?><r>" + parts + "&#x85;</r>",
      "<r><CounterpartData "
      "a='\xC2\x85\xE2\x80\xA8'>\xC2\x85&#x2028;<![CDATA[\xE2\x80\xA8<]]></CounterpartData>"
      "<RenderedData/></r>",
      "<r><CounterpartData>" + wide + "</CounterpartData><RenderedData/></r>"};
  for (const std::string& xml : cases) documents.push_back(signXml(xml));
  for (const auto algorithm : {XMLSigner::RSA_SHA1, XMLSigner::RSA_SHA512}) {
    XMLSigner::getInstance().initialise(algorithm);
    documents.push_back(signXml(cases[0]));
  }
  expectAll(documents);
}

/** The host signs with no such key. */
TEST_F(Verified, KeysAndCertificatesByWhatTheyAreGoodFor) {
  const struct {
    const char* options; /**< of openssl, for key and certificate */
    const char* fault;   /**< empty when the part is intact */
    int keyBits;
    bool maySign;
  } rows[] = {
      {"-newkey rsa:2048 -addext keyUsage=digitalSignature", "", 2048, true},
      {"-newkey rsa:1024 -addext keyUsage=digitalSignature -addext extendedKeyUsage=serverAuth,1.2.3", "",
       1024, false},
      {"-newkey rsa:1024 -addext keyUsage=digitalSignature -addext extendedKeyUsage=ipsecUser", "", 1024,
       false},
      {"-newkey rsa:1024 -addext keyUsage=digitalSignature -addext extendedKeyUsage=1.2.3,1.3.6.1.5.5.7.3.36",
       "", 1024, true},
      {"-newkey rsa:1024 -addext keyUsage=digitalSignature -addext extendedKeyUsage=serverAuth,clientAuth",
       "", 1024, true},
      {"-newkey rsa:1024 -addext keyUsage=digitalSignature -addext extendedKeyUsage=critical,timeStamping",
       "", 1024, false},
      {"-newkey rsa:1024 -addext keyUsage=keyEncipherment", "", 1024, false},
      {"-newkey rsa:1024", "", 1024, false},
      {"-newkey rsa:1016", "CRYPTO_CONSTRAINTS_FAILURE", 0, false},
  };
  for (const auto& row : rows) {
    makeIdentity(folder(), row.options);
    ParsedDocument parsed(signXml("<r><CounterpartData/><RenderedData/></r>"));
    for (const verification::PartCheck& part : verification::checkDocument(parsed.document())) {
      EXPECT_EQ(part.isIntact() ? "" : part.fault->code, row.fault) << row.options;
      EXPECT_EQ(part.keyBits, row.keyBits) << row.options;
      EXPECT_EQ(part.maySign, row.maySign) << row.options;
    }
  }
  makeIdentity(folder());
}

}  // namespace
