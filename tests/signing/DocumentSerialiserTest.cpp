#include "shared/xml/DocumentSerialiser.h"

#include <gtest/gtest.h>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/xml/Canonicaliser.h"
#include "signing/Parsed.h"
#include "signing/RandomDocument.h"

namespace {

std::string written(const std::string& xml) {
  return writeDocument(Parsed(xml).document());
}

std::string canonicalRoot(const std::string& xml) {
  Parsed parsed(xml);
  Canonicaliser canonicaliser(*parsed.document().getDocumentElement(), nullptr);
  std::string bytes;
  for (auto run = canonicaliser.next(); !run.empty(); run = canonicaliser.next()) bytes += run;
  return bytes;
}

TEST(DocumentSerialiser, RandomDocumentsReadBackAsTheyWere) {
  for (unsigned i = 0; i < 200; ++i) {
    const std::string xml = RandomDocument(i).bytes();
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
      {"<!DOCTYPE a SYSTEM 'x\"y'><a/>", declaration + "<!DOCTYPE a SYSTEM 'x\"y'><a/>"},
      {"<!DOCTYPE a PUBLIC '-//x' 'y' [<!ENTITY e \"'&#34;&#37;&#38;#38;&#13;\">]><a>&e;</a>",
       declaration + "<!DOCTYPE a PUBLIC \"-//x\" \"y\" [<!ENTITY e "
                     "\"'&#34;&#37;&#38;#38;&#13;\">]><a>'\"%&amp;&#xD;</a>"},
      {"<!DOCTYPE a SYSTEM 'x\"y' [<!ENTITY % p '<!ENTITY e \"v\">'>%p;<!NOTATION n SYSTEM 's\"'><!ENTITY u "
       "SYSTEM 'f' NDATA "
       "n>"
       "<!ATTLIST a b NOTATION (n) #IMPLIED c (d|f) 'd'>]><a b='n'>&e;</a>",
       declaration + "<!DOCTYPE a SYSTEM 'x\"y' [ <!ENTITY e \"v\"> <!NOTATION n SYSTEM 's\"'><!ENTITY u "
                     "SYSTEM \"f\" NDATA n>"
                     "<!ATTLIST a b NOTATION (n) #IMPLIED c (d|f) \"d\">]><a b=\"n\" c=\"d\">v</a>"},
      {"<!DOCTYPE a [<!ENTITY e '<![CDATA[x&#13;<]]>'>]><a>&e;<![CDATA[<]]></a>",
       declaration + "<!DOCTYPE a [<!ENTITY e \"<![CDATA[x&#13;<]]>\">]><a>x&#xD;&lt;<![CDATA[<]]></a>"},
      {"<!DOCTYPE a [<!ENTITY e '<?p x&#13;y?>'>]><a>&e;</a>",
       declaration + "<!DOCTYPE a [<!ENTITY e \"<?p x&#13;y?>\">]><a><?p x\ny?></a>"},
      {"<?xml version='1.1'?><a>&#1;&#x85;\xF0\x9F\x98\x80&#x2028;</a>",
       "<?xml version=\"1.1\" encoding=\"UTF-8\" standalone=\"no\" "
       "?><a>&#1;&#133;\xF0\x9F\x98\x80&#8232;</a>"},
  };
  for (const auto& [xml, expected] : cases) EXPECT_EQ(written(xml), expected) << xml;
}

}  // namespace
