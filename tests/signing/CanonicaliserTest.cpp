#include "shared/xml/Canonicaliser.h"

#include <gtest/gtest.h>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNodeList.hpp>

#include "signing/Parsed.h"

using namespace vorn;

namespace {

/** Of the first element named e, less its last child element named s. */
std::string canonical(const std::string& xml) {
  Parsed parsed(xml);
  const auto* element =
      static_cast<xercesc::DOMElement*>(parsed.document().getElementsByTagName(u"e")->item(0));
  const xercesc::DOMNodeList* omitted = element->getElementsByTagName(u"s");
  const XMLSize_t count = omitted->getLength();
  Canonicaliser canonicaliser(*element, count > 0 ? omitted->item(count - 1) : nullptr);
  std::string bytes;
  for (auto run = canonicaliser.next(); !run.empty(); run = canonicaliser.next()) bytes += run;
  return bytes;
}

TEST(Canonicaliser, KnownAnswers) {
  const std::pair<const char*, const char*> cases[] = {
      // Declarations: those in scope on the signed element, sorted, none twice and none that changes nothing.
      {"<r xmlns:b='urn:b' xmlns:a='urn:a' xmlns='urn:d'><e/></r>",
       R"(<e xmlns="urn:d" xmlns:a="urn:a" xmlns:b="urn:b"></e>)"},
      {"<r xmlns:p='urn:a'><m xmlns:p='urn:b'><e xmlns:p='urn:a'><f xmlns:p='urn:b'/></e></m></r>",
       R"(<e xmlns:p="urn:a"><f xmlns:p="urn:b"></f></e>)"},
      {"<e><f xmlns=''/><f xmlns='urn:d'><g xmlns='urn:d'/><g xmlns=''><h xmlns=''/></g></f></e>",
       R"(<e><f></f><f xmlns="urn:d"><g></g><g xmlns=""><h></h></g></f></e>)"},
      {"<r xmlns='urn:d'><e xmlns=''><f xmlns='urn:d'/></e></r>", R"(<e><f xmlns="urn:d"></f></e>)"},
      {"<r xmlns:xml='http://www.w3.org/XML/1998/namespace' xmlns:p='urn:p'><e xmlns:p='' "
       "xmlns:q='http://www.w3.org/2000/xmlns/'/></r>",
       R"(<e xmlns:p="urn:p"></e>)"},
      {"<e xmlns:p='urn:&lt;&amp;&quot;&#9;'/>", R"(<e xmlns:p="urn:&lt;&amp;&quot;&#x9;"></e>)"},
      // Attributes: without a prefix first, then by namespace and local name, in the order of code points.
      {"<e xmlns:z='urn:a' xmlns:a='urn:z' a:q='2' z:q='1' q='3' Q='4' a:Q='5' xml:lang='6' _='7'/>",
       R"(<e xmlns:a="urn:z" xmlns:z="urn:a" Q="4" _="7" q="3" xml:lang="6" z:q="1" a:Q="5" a:q="2"></e>)"},
      {"<e xmlns:a='urn:\xF0\x9F\x98\x80' xmlns:b='urn:\xEF\xBF\xBD' a:x='1' b:x='2'/>",
       "<e xmlns:a=\"urn:\xF0\x9F\x98\x80\" xmlns:b=\"urn:\xEF\xBF\xBD\" b:x=\"2\" a:x=\"1\"></e>"},
      {"<e xmlns:p='urn:z'><f xmlns:p='urn:a' xmlns:q='urn:m' q:a='1' p:a='2'/><f xmlns:q='urn:m' q:a='1' "
       "p:a='2'/></e>",
       R"(<e xmlns:p="urn:z"><f xmlns:p="urn:a" xmlns:q="urn:m" p:a="2" q:a="1"></f><f xmlns:q="urn:m" q:a="1" p:a="2"></f></e>)"},
      {"<r xmlns:z='urn:z'><e u:b='1' a='2' z:a='3' xx='4' :c='5' xmlnsy='6'/></r>",
       R"(<e xmlns:z="urn:z" :c="5" a="2" u:b="1" xmlnsy="6" xx="4" z:a="3"></e>)"},
      {"<r xml:lang='a' xml:id='i' b='x'><m xml:lang='b'><e xml:space='preserve'><f/></e></m></r>",
       R"(<e xml:id="i" xml:lang="b" xml:space="preserve"><f></f></e>)"},
      // Text, line ends and what is not text.
      {"<e a='&amp;&lt;>&quot;&apos;&#13;&#10;&#9;\r\n\t '/>",
       R"(<e a="&amp;&lt;>&quot;'&#xD;&#xA;&#x9;   "></e>)"},
      {"<e>of forty plain characters, one > is not</e>", "<e>of forty plain characters, one &gt; is not</e>"},
      {"<e>a<![CDATA[<&>\r\n]]><!--x-->b<?p?><?p   d & < ?></e>",
       "<e>a&lt;&amp;&gt;\nb<?p?><?p d & < ?></e>"},
      {"<!DOCTYPE r [<!ENTITY t 'a&#38;lt;&#13;<f/>'><!ATTLIST f b NMTOKENS ' x  y ' xmlns:p CDATA "
       "'urn:p' i ID #IMPLIED>]><r><e>&t;<f b='z' i=' k '/></e></r>",
       R"(<e>a&lt;&#xD;<f xmlns:p="urn:p" b="x y"></f><f xmlns:p="urn:p" b="z" i="k"></f></e>)"},
      // The omitted node goes with all that it holds; others of its name stay.
      {"<r><e>a<s>1</s>b<f/><s>2<g/></s></e><f/></r>", "<e>a<s>1</s>b<f></f></e>"},
  };
  for (const auto& [xml, expected] : cases) EXPECT_EQ(canonical(xml), expected) << xml;
}

}  // namespace
