#include "shared/xml/DocumentSerialiser.h"

#include <gtest/gtest.h>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>

#include "shared/xml/Canonicaliser.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/XmlText.h"
#include "signing/Parsed.h"
#include "signing/RandomDocument.h"

using namespace vorn;

namespace {

std::string written(const std::string& xml) {
  Parsed parsed(xml);
  auto* implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
  xercesc::DOMLSOutput* output = implementation->createLSOutput();
  xercesc::MemBufFormatTarget target;
  output->setByteStream(&target);
  writeDocument(parsed.document(), *output);
  output->release();
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}

std::string canonicalRoot(const std::string& xml) {
  Parsed parsed(xml);
  Canonicaliser canonicaliser(*parsed.document().getDocumentElement(), nullptr);
  std::string bytes;
  for (auto run = canonicaliser.next(); !run.empty(); run = canonicaliser.next()) bytes += run;
  return bytes;
}

/** The index and the walk find what the library finds. */
void expectSameElements(const std::string& xml) {
  Parsed parsed(xml);
  const xercesc::DOMDocument& document = parsed.document();
  for (const bool isForgotten : {false, true}) {
    if (isForgotten) ElementIndex::forget(document);
    for (const char16_t* name : {u"CounterpartData", u"RenderedData", u"a", u"none"}) {
      const auto* elements = document.getElementsByTagName(name);
      const NamedElements found = findElements(document, toUtf8(name));
      EXPECT_EQ(found.count, elements->getLength()) << xml;
      EXPECT_EQ(found.first, elements->item(0)) << xml;
    }
  }
}

TEST(DocumentSerialiser, RandomDocumentsReadBackAsTheyWere) {
  for (unsigned i = 0; i < 200; ++i) {
    const std::string xml = RandomDocument(i).bytes();
    expectSameElements(xml);
    const std::string text = written(xml);
    EXPECT_EQ(canonicalRoot(text), canonicalRoot(xml)) << xml;
    EXPECT_EQ(written(text), text) << xml;
  }
}

TEST(DocumentSerialiser, KnownTexts) {
  const std::string declaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)";
  const std::pair<std::string, std::string> cases[] = {
      {"<?xml version='1.0' standalone='yes'?><a/>",
       R"(<?xml version="1.0" encoding="UTF-8" standalone="yes" ?><a/>)"},
      {"<a></a>", declaration + "<a/>"},
      {"\n<?p?><a b='\"&#10;'>x\r\ny&#13;</a>\n<!--c-->",
       declaration + "<?p?><a b=\"&quot;&#xA;\">x\ny&#xD;</a><!--c-->"},
      {"<!DOCTYPE a><a/>", declaration + "<!DOCTYPE a><a/>"},
      {"<!DOCTYPE a [<!ENTITY e \"'&#34;&#37;&#38;#38;&#13;\">]><a>&e;</a>",
       declaration + "<!DOCTYPE a [<!ENTITY e "
                     "\"'&#34;&#37;&#38;#38;&#13;\">]><a>'\"%&amp;&#xD;</a>"},
      {"<!DOCTYPE a [<!ENTITY % p '<!ENTITY e \"v\">'>%p;<!NOTATION n SYSTEM 's\"'><!ENTITY u "
       "SYSTEM 'f' NDATA "
       "n>"
       "<!ATTLIST a b NOTATION (n) #IMPLIED c (d|f) 'd'>]><a b='n'>&e;</a>",
       declaration + "<!DOCTYPE a [ <!ENTITY e \"v\"> <!NOTATION n SYSTEM 's\"'><!ENTITY u "
                     "SYSTEM \"f\" NDATA n>"
                     "<!ATTLIST a b NOTATION (n) #IMPLIED c (d|f) \"d\">]><a b=\"n\" c=\"d\">v</a>"},
      {"<!DOCTYPE a [<!ENTITY e '<![CDATA[x&#13;<]]>'>]><a>&e;<![CDATA[<]]></a>",
       declaration + "<!DOCTYPE a [<!ENTITY e \"<![CDATA[x&#13;<]]>\">]><a>x&#xD;&lt;<![CDATA[<]]></a>"},
      {"<a b='\xC2\x85'>\xE2\x80\xA8<![CDATA[\xC2\x85<]]><![CDATA[<]]><!--\xC2\x85--></a>",
       declaration + "<a b=\"&#x85;\">&#x2028;&#x85;&lt;<![CDATA[<]]><!--\xC2\x85--></a>"},
      {"<!DOCTYPE a [<!ENTITY e '<?p x&#13;y?>'>]><a>&e;</a>",
       declaration + "<!DOCTYPE a [<!ENTITY e \"<?p x&#13;y?>\">]><a><?p x\ny?></a>"},
      {"<?xml version='1.1'?><a>&#1;&#x85;\xF0\x9F\x98\x80&#x2028;</a>",
       "<?xml version=\"1.1\" encoding=\"UTF-8\" standalone=\"no\" "
       "?><a>&#1;&#133;\xF0\x9F\x98\x80&#8232;</a>"},
  };
  for (const auto& [xml, expected] : cases) EXPECT_EQ(written(xml), expected) << xml;
}

}  // namespace
