#include "shared/XMLSigner.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <utility>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "shared/base/Base64.h"
#include "shared/base/SignatureRecord.h"
#include "shared/xml/XmlText.h"
#include "signing/SigningFixture.h"
#include "signing/TestIdentity.h"

using namespace vorn;

namespace {

const char* const kParts = "<CounterpartData>c</CounterpartData><RenderedData>r</RenderedData>";

std::string withParts(const std::string& before = "", const std::string& after = "") {
  return before + "<r>" + kParts + after + "</r>";
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

/** Puts a star in place of what the only children of the elements are. */
void hideContent(std::string& text, const std::string& element) {
  const std::string start = "<" + element + ">";
  for (std::size_t at = 0; (at = text.find(start, at)) != std::string::npos;) {
    at += start.size();
    text.replace(at, text.find('<', at) - at, "*");
  }
}

/** Keeps what is logged, as "LEVEL text". */
class Captured : public log4cplus::Appender {
 public:
  ~Captured() override { destructorImpl(); }
  void close() override {}
  std::vector<std::string> lines;

 protected:
  void append(const log4cplus::spi::InternalLoggingEvent& event) override {
    lines.push_back(log4cplus::getLogLevelManager().toString(event.getLogLevel()) + " " + event.getMessage());
  }
};

class Log {
 public:
  Log() { logger_.addAppender(appender_); }
  ~Log() { logger_.removeAppender(appender_); }
  const std::vector<std::string>& lines() const { return captured_->lines; }

 private:
  Captured* captured_ = new Captured;
  log4cplus::SharedAppenderPtr appender_{captured_};
  log4cplus::Logger logger_ = log4cplus::Logger::getInstance("XMLSigner");
};

using XMLSignerTest = SigningTest;

TEST_F(XMLSignerTest, LayoutOfTheSignatureForEachAlgorithm) {
  const std::string rsa = "http://www.w3.org/2001/04/xmldsig-more#rsa-";
  const std::string enc = "http://www.w3.org/2001/04/xmlenc#";
  const std::string dsig = "http://www.w3.org/2000/09/xmldsig#";
  const std::pair<std::string, std::string> uris[] = {
      {dsig + "rsa-sha1", dsig + "sha1"},
      {rsa + "sha256", enc + "sha256"},
      {rsa + "sha512", enc + "sha512"},
      {rsa + "sha512", enc + "sha512"}};  // the fourth value leaves the third
  const std::string c14n = "Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments\"/>";
  const std::string filter = "http://www.w3.org/2002/06/xmldsig-filter2";
  for (int i = 0; i < 4; ++i) {
    XMLSigner::getInstance().initialise(static_cast<XMLSigner::SignatureAlgorithm>(i));
    std::string text = signXml(withParts());
    for (const char* value : {"DigestValue", "SignatureValue", "Modulus"}) hideContent(text, value);
    const auto signature = [&](const std::string& name) {
      return R"(<Signature xmlns=")" + dsig + R"("><SignedInfo><CanonicalizationMethod )" + c14n +
             R"(<SignatureMethod Algorithm=")" + uris[i].first +
             R"("/><Reference URI=""><Transforms><Transform Algorithm=")" + filter +
             R"("><XPath Filter="intersect" xmlns=")" + filter + "\">//" + name +
             R"(</XPath></Transform><Transform Algorithm=")" + dsig + R"(enveloped-signature"/><Transform )" +
             c14n + R"(</Transforms><DigestMethod Algorithm=")" + uris[i].second +
             R"("/><DigestValue>*</DigestValue></Reference></SignedInfo><SignatureValue>*</SignatureValue>)" +
             "<KeyInfo><KeyValue><RSAKeyValue><Modulus>*</Modulus><Exponent>AQAB</Exponent></RSAKeyValue>" +
             "</KeyValue><X509Data><X509Certificate>" + testIdentity().certificateBase64 +
             "</X509Certificate></X509Data></KeyInfo></Signature>";
    };
    EXPECT_EQ(text, "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><r><CounterpartData>c" +
                        signature("CounterpartData") + "</CounterpartData><RenderedData>r" +
                        signature("RenderedData") + "</RenderedData></r>");
  }
}

TEST_F(XMLSignerTest, CleanupStopsTheLibrariesForGood) {
  const auto stopAndStart = [] {
    Log log;
    XMLSigner::getInstance().cleanup();
    XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
    std::_Exit(log.lines() == std::vector<std::string>{"DEBUG Unloading XML libraries"} ? 0 : 1);
  };
  // In a process of its own: they do not start again.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(stopAndStart(), testing::ExitedWithCode(0), "");
}

TEST_F(XMLSignerTest, WarnsOfWhatVerifiersRefuse) {
  const auto part = [](const std::string& inside) {
    return "<r><CounterpartData>" + inside + "</CounterpartData><RenderedData/></r>";
  };
  const auto root = [](const std::string& attributes) { return "<r " + attributes + ">" + kParts + "</r>"; };
  const std::string dsig = "<s:Signature xmlns:s='http://www.w3.org/2000/09/xmldsig#'/>";
  const std::string longest(1000, 'l'), later = "\xE1\x9E\x80" + longest;
  const auto subset = [](const std::string& text) { return "<!DOCTYPE r [" + text + "]>" + withParts(); };
  const std::vector<std::string> named = {"document-type", "name-characters", "long-name"};
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {withParts(), {}},
      {"<r xmlns='urn:d'><CounterpartData/><RenderedData xmlns=''/></r>", {"default-namespace"}},
      {"<r><CounterpartData><RenderedData/></CounterpartData></r>", {"nested-parts"}},
      {"<r><RenderedData><CounterpartData/></RenderedData></r>", {}},
      {"<!DOCTYPE r><r><CounterpartData><RenderedData/></CounterpartData></r>",
       {"document-type", "nested-parts"}},
      {part(dsig + "<z/>"), {"signed-already"}},
      {part("<a>" + dsig + "</a><s:Signature xmlns:s='urn:s'/>"), {}},
      {"<s:r xmlns:s='http://www.w3.org/2000/09/xmldsig#'>" + part("<s:Signature/>") + "</s:r>",
       {"signed-already"}},
      {withParts("<!DOCTYPE r>"), {"document-type"}},
      {withParts("<?xml version='1.1'?>"), {"xml-1.1"}},
      // Names of namespaces, anywhere.
      {root("xmlns:p='p'"), {"namespace-name"}},
      {part("") + "<!---->", {}},
      {withParts("", "<a xmlns:p='../p'/>"), {"namespace-name"}},
      {withParts("", "<a xmlns='urn:\xC3\xA9'/>"), {"namespace-name"}},
      {withParts("", "<a xmlns:p='urn:a b'/>"), {"namespace-name"}},
      {root("xmlns:p='urn:&quot;'"), {"namespace-name"}},
      {root("xmlns:p='x-y+1.z:c' xmlns:q='http://u@[::1]:80/a%2F?b?#c'"), {}},
      {root("xmlns:p='http://a:b/'"), {"namespace-name"}},
      {"<!DOCTYPE r [<!ATTLIST a xmlns:p CDATA 'p'>]>" + withParts("", "<a/>"),
       {"document-type", "namespace-name"}},
      // ... and with an ampersand, in scope.
      {root("xmlns:p='urn:a&amp;b'"), {"namespace-ampersand", "namespace-ampersand"}},
      {part("<a xmlns:p='urn:a&amp;b'/>"), {"namespace-ampersand"}},
      {withParts("", "<a xmlns:p='urn:a&amp;b'/>"), {}},
      // Namespace-well-formed, anywhere.
      {withParts("", "<p:a/>"), {"namespace-form"}},
      {part("<a q:b=''/>"), {"namespace-form"}},
      {root("xmlns:p='urn:p' xmlns:q='urn:q' p:a='' q:a='' xml:a=''"), {}},
      {"<r xmlns:p='urn:p' xmlns:q='urn:p'><CounterpartData p:a='' q:a=''/><RenderedData/></r>",
       {"namespace-form"}},
      {root("xmlns:p='urn:p'") + "<?a:b c?>", {}},
      {root("xmlns:5='urn:p'"), {"namespace-form"}},
      {"<r xmlns:p='urn:p'><p:5/>" + std::string(kParts) + "</r>", {"namespace-form"}},
      {root("xmlns:p='urn:p' :a=''"), {"namespace-form"}},
      {root("xmlns:p='urn:p' p:a:b=''"), {"namespace-form"}},
      {withParts("", "<a xmlns:p='urn:p'/><p:b/>"), {"namespace-form"}},
      {root("xmlns:xml='urn:x'"), {"namespace-form"}},
      {root("xmlns:xml='http://www.w3.org/XML/1998/namespace' xml:a=''"), {}},
      // Attributes like xml:lang.
      {"<r xml:lang='a'><m xml:lang='b'><CounterpartData/></m><RenderedData/></r>", {"xml-attributes"}},
      {"<r xml:lang='a'><CounterpartData><a xml:id='b'/></CounterpartData><RenderedData/></r>",
       {"xml-attributes"}},
      {"<r xml:lang='a'><CounterpartData xml:id='b'/><RenderedData/></r>", {}},
      {part("<a xml:lang='a'><b><c xml:id='b'/></b></a>"), {"xml-attributes"}},
      {part("<a xml:lang='a'/><b xml:id='b'/><c xml:id='c'><d xml:id='e' xml:lang='f'/></c>"), {}},
      {"<r xml:lang='a'><m xml:lang='a'><CounterpartData/></m><a xml:id='b'/><RenderedData/></r>", {}},
      // Carriage returns, in what is signed.
      {part("&#13;"), {"carriage-return"}},
      {part("<a b='&#x00d;'/>"), {"carriage-return"}},
      {"<!DOCTYPE r [<!ENTITY e '&#38;#13;'>]>" + part("&e;"), {"document-type", "carriage-return"}},
      {withParts("", "\r\n&#13;") + "\r\n", {}},
      {part("&#1300;&#x1d0;<![CDATA[&#13;]]>\r"), {}},
      // Characters that are shown in many ways.
      {part("\xC3\x82\xC2\xA0&#160;"), {}},
      {part("\xC2\x85"), {"control-characters"}},
      {part("<a b='&#0130;'/>"), {"control-characters"}},
      {part("<?a \xC2\x9F?>"), {"control-characters"}},
      {"<?xml version='1.0' encoding='iso-8859-2'?>" + part("\x82"), {"control-characters"}},
      {withParts("", "&#x9f;"), {}},
      // Limits of others.
      {withParts("", repeated("<a>", 255) + repeated("</a>", 255)), {}},
      {withParts("", repeated("<a>", 256) + repeated("</a>", 256)), {"deep-nesting"}},
      {repeated("<a>", 249) + withParts() + repeated("</a>", 249), {"deep-nesting"}},
      {root("xmlns:" + longest + "='urn:" + longest.substr(4) + "' " + longest + ":" + longest + "=''"), {}},
      {part("<" + longest + "a/>"), {"long-name"}},
      {part("<a b" + longest + "=''/>"), {"long-name"}},
      {part("<a xmlns:b" + longest + "='urn:b'/>"), {"long-name"}},
      {part("<?a" + longest + " c?>"), {"long-name"}},
      {part("<a xmlns='urn:" + longest + "'/>"), {"long-name"}},
      {part("<\xC3\xA9\xE4\xB8\xAD a\xCC\x80\xD9\xA0=''/>"), {}},
      {part("<\xE1\x9E\x80/>"), {"name-characters"}},
      {part("<a \xF0\x90\x90\x80=''/>"), {"name-characters"}},
      {part("<a xmlns:p='urn:p' p:\xD9\xA0=''/>"), {"name-characters"}},
      {part("<?a\xE1\x8E\xA0 c?>"), {"name-characters"}},
      {"<?xml version='1.1'?>" + part("<\xE1\x9E\x80/>"), {"xml-1.1"}},
      // What a document type names.
      {subset("<!--" + later + "--><?p " + later + "?><!ENTITY a '" + later + "<!--'><!ELEMENT b (c)>" +
              "<!NOTATION n PUBLIC \"" + longest + "'a\"><!ATTLIST b d (e|f) 'e'>"),
       {"document-type"}},
      {subset("<!ENTITY " + later + " ''>"), named},
      {subset("<!ELEMENT b (c|" + later + ")*>"), named},
      {subset("<!ATTLIST b " + later + " CDATA #IMPLIED>"), named},
      {subset("<!--\"--><!NOTATION " + later + " SYSTEM ''>"), named},
      {subset("<?" + later + "?>"), named},
  };
  for (const auto& [xml, expected] : cases) {
    Log log;
    signXml(xml);
    std::vector<std::string> warnings;
    for (const std::string& line : log.lines())
      if (line.rfind("WARN ", 0) == 0) warnings.push_back(line.substr(5, line.find(':') - 5));
    EXPECT_EQ(warnings, expected) << xml;
  }
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA1);
  Log log;
  signature_record::setDocument("17");
  signXml(withParts());
  signature_record::setDocument("");
  EXPECT_NE(std::find(log.lines().begin(), log.lines().end(),
                      "WARN sha1: RSA_SHA1 is weak: the JDK and others refuse it, document = 17"),
            log.lines().end());
}

TEST_F(XMLSignerTest, FailuresOfKeyAndLibrary) {
  TestIdentity& identity = testIdentity();
  const std::tuple<std::function<void()>, std::string, std::string> failures[] = {
      {[] { throw XSECException(XSECException::UnknownError, "library \xC3\xA9"); }, "XSECException",
       ". Exception message = library"},
      {[] { throw XSECCryptoException(XSECCryptoException::RSAError, "key"); }, "XSECCryptoException",
       ". Exception message = key"},
      {[] { throw 5; }, "unknown exception", ""}};
  for (const auto& [raise, kind, detail] : failures) {
    for (const char* step : {"initialising signing certificate", "during signature loading"}) {
      SetUp();
      (std::string(step).front() == 'i' ? identity.onKeySetUp : identity.onModulus) = raise;
      const std::string message = "Caught " + kind + " " + step + detail;
      Log log;
      EXPECT_EQ(refusalOf(toBase64(withParts())).substr(0, message.size() + 4), "105 " + message);
      EXPECT_EQ(log.lines().back().substr(0, message.size() + 6), "ERROR " + message);
      EXPECT_EQ(identity.keysAlive, 0);
    }
  }
  SetUp();
  const std::string certificate = identity.certificateBase64;
  identity.certificateBase64 = "AAAA";
  EXPECT_EQ(refusalOf(toBase64(withParts())).substr(0, 60),
            "105 Caught XSECCryptoException during signature loading. Exc");
  identity.certificateBase64 = certificate;
}

/** Ten entities, each of them ten times the one before; `percent` is how one of them refers to another. */
std::string laughs(const std::string& kind, const std::string& reference) {
  std::string text = "<!ENTITY " + kind + "l0 ''>";
  for (int i = 1; i < 10; ++i) {
    text += "<!ENTITY " + kind + "l" + std::to_string(i) + " '" +
            repeated(reference + "l" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  return text;
}

TEST_F(XMLSignerTest, HostileMalformedAndInvalidDocuments) {
  const auto doctype = [](const std::string& subset, const std::string& after = "") {
    return withParts("<!DOCTYPE r [" + subset + "]>", after);
  };
  const std::string tooLarge = "103 The document expands too many or too large entities";
  const std::string outside =
      "103 The document refers to 'file:///etc/hostname', and nothing outside the document is read";
  const std::string invalid = "104 Request XML data is invalid. ";
  const std::string big = "<!ENTITY a '" + std::string(1 << 20, 'a') + "'>";
  std::string numbered, entities, attributes;
  std::size_t mostNumbered = 0;  // with the names of the parts and of the signatures 50,000
  for (int i = 0; i < 60000; ++i) {
    if (i == 49975) mostNumbered = numbered.size();
    numbered += "<n" + std::to_string(i) + "/>";
    entities += "<!ENTITY n" + std::to_string(i) + " ''>";
  }
  for (int i = 0; i < 10001; ++i) attributes += " a" + std::to_string(i) + "=''";
  const std::u16string wideText = u"\uFEFF" + toUtf16(withParts());
  const std::string wide(reinterpret_cast<const char*>(wideText.data()), wideText.size() * 2);
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"", "103 Request XML data"},
      // What the parser takes for the end.
      {withParts() + "\0"s, "103 Request XML data holds a character U+0000"},
      {withParts() + "\n\0<x/>"s, "103 Request XML data holds a character U+0000"},
      {wide + "\0\0x\0"s, "103 Request XML data holds a character U+0000"},
      {wide + "x", "103 Request XML data ends within a character"},
      {withParts() + "\xE2\x82", "103 Request XML data is not valid UTF-8"},
      {withParts() + std::string(200000, ' ') + "\xFFjunk", "103 Request XML data is not valid UTF-8"},
      {wide + "\n\0"s, "signed"},
      {"\xEF\xBB\xBF" + withParts(), "signed"},
      {"junk", "103 invalid document structure (line 1, column 1)"},
      {withParts("", "<a>\n</b>"), "103 expected end of tag 'a' (line 2, column 3)"},
      {withParts("", "<?\xF0\x90\x80\x80?>"),
       "103 Caught DOMException parsing request XML data. invalid or illegal XML character"},
      // What stands outside of the document.
      {withParts("<!DOCTYPE r SYSTEM 'file:///etc/hostname'>"), outside},
      {withParts("<!DOCTYPE r PUBLIC '-//x' 'file:///etc/hostname' [<!ENTITY x ''>]>"), outside},
      {withParts("<!DOCTYPE r SYSTEM ''>"), "103 The document refers to '', and nothing"},
      // What would enter the signatures.
      {doctype("<!ATTLIST Reference Type CDATA 'x'>"),
       "103 The document type declares the attribute 'Type' for <Reference>, of which signatures are made"},
      {doctype("<!ENTITY % e '<!ATTLIST XPath xmlns CDATA #FIXED \"urn:x\">'>%e;"),
       "103 The document type declares the attribute 'xmlns' for <XPath>"},
      {doctype("<!ATTLIST Modulus a CDATA #IMPLIED><!ATTLIST s:Signature a CDATA 'x'>"), "signed"},
      {doctype("<!ENTITY x SYSTEM 'file:///etc/hostname'>", "&x;"), outside},
      {doctype("<!ENTITY % x SYSTEM 'file:///etc/hostname'>%x;"), outside},
      {doctype("%x;"), "103 entity 'x' not found"},
      {doctype("<!ENTITY % x ''>%x;", "&y;"), "103 entity 'y' not found"},
      {doctype("<!ENTITY % x ''>%x;<!ATTLIST a b CDATA '&y;'>"), "103 entity 'y' not found"},
      // Expansion.
      {doctype(laughs("", "&"), "<a b='&l9;'/>"), tooLarge},
      {doctype(laughs("", "&") + "<!ATTLIST a b CDATA '&l9;'>"), tooLarge},
      {doctype(laughs("% ", "&#37;") + "%l9;"), tooLarge},
      {doctype(big, "<a b='" + repeated("&a;", 50) + "'/>"), tooLarge},
      {doctype(big + "<!ATTLIST a b CDATA '" + repeated("&a;", 50) + "'>"), tooLarge},
      {doctype(big, repeated("&a;", 3)), "signed"},
      {doctype(big, repeated("&a;", 17)), tooLarge},
      {doctype(big + "<!ENTITY b 'b'>", repeated("&b;", 1000) + "<a b='&b;'/>"), "signed"},
      {doctype("<!ATTLIST a b CDATA '" + std::string(1 << 20, 'a') + "'>", repeated("<a/>", 1000)),
       "103 The document needs too much memory"},
      // Numbers.
      {withParts("", repeated("<a>", 999) + repeated("</a>", 999)), "signed"},
      {withParts("", repeated("<a>", 1000) + repeated("</a>", 1000)),
       invalid + "Elements are nested too deeply"},
      {repeated("<a>", 992) + withParts() + repeated("</a>", 992), "signed"},
      {repeated("<a>", 993) + withParts() + repeated("</a>", 993),
       invalid + "Elements are nested too deeply"},
      {withParts("", numbered.substr(0, mostNumbered)), "signed"},
      {withParts("", numbered.substr(0, mostNumbered) + "<x/>"), "103 The document has too many names"},
      {withParts("", numbered.substr(0, mostNumbered) + "<Signature Algorithm=''/>"), "signed"},
      {withParts("", numbered), "103 The document has too many names"},
      {doctype(entities), "103 The document has too many names"},
      {withParts("", "<a" + attributes + "/>"), "103 An element has too many attributes"},
      {doctype(repeated("<!ATTLIST a b CDATA ''>", 501)), "103 The document declares too many attributes"},
      {withParts("", repeated("<!---->", 100000)), "signed"},
      // Other than the two elements.
      {"<r><CounterpartData/></r>", invalid + "Element <RenderedData> not found"},
      {"<r><x:CounterpartData/><RenderedData/></r>", invalid + "Element <CounterpartData> not found"},
      {"<r><counterpartdata/><RenderedData/></r>", invalid + "Element <CounterpartData> not found"},
      {"<CounterpartData><a><CounterpartData/></a><RenderedData/></CounterpartData>",
       invalid + "Multiple <CounterpartData> elements found"},
      // What has to be read again as it was.
      {"<?xml version='1.1'?>" +
           doctype("<!ENTITY e '&#38;#1;'><!ATTLIST r b CDATA '&#3;\xC2\x85'>", "&e;&#x7f;"),
       "signed"},
      {"<!DOCTYPE r [<!ENTITY e '<a><RenderedData/></a>'>]><r><CounterpartData/>&e;</r>",
       invalid + "Element <RenderedData> comes out of an entity"},
  };
  for (const auto& [xml, expected] : cases) {
    XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);  // each has a budget of its own
    const std::string outcome = refusalOf(toBase64(xml));
    EXPECT_EQ(outcome.substr(0, expected.size()), expected) << xml.substr(0, 300) << "\n" << outcome;
  }
  EXPECT_EQ(testIdentity().keysAlive, 0);
  EXPECT_EQ(refusalOf(toBase64(withParts()) + " \r\n"), "signed");
  EXPECT_EQ(refusalOf("\n" + toBase64(withParts())), "103 Request XML data is not valid base64");
}

}  // namespace
