#include "signing/RandomDocument.h"

#include <set>
#include <xercesc/util/PlatformUtils.hpp>

#include "shared/xml/XmlText.h"

using namespace vorn;

namespace {

// Prefix u is never declared.
const std::vector<std::string> kPrefixes = {"", "", "", "p", "q", "zz", "u"};
const std::vector<std::string> kUris = {"urn:a", "urn:b", "http://b.example/x", "urn:z"};
const std::vector<std::string> kNames = {"a", "b", "B", "z", "a.1", "a-1", "_a"};
// clang-format off
const std::vector<std::string> kText = {
    "plain text", " ", "\n", "\r\n", "\r", "\t", "a &lt; b &amp;&amp; c &gt; d", "]]&gt;", "&#13;", "&#10;&#9;", "\"'",
    "<![CDATA[<x>&amp;]] ]]>", "<![CDATA[]]>", "<!-- comment -->", "<?target?>", "<?target  some data ?>", "\xC3\xA9"};
// clang-format on
const std::vector<std::string> kWideText = {"\xE2\x80\xA8", "\xC2\x85",     "\xF0\x9F\x98\x80",
                                            "&#x1F600;",    "\xE2\x82\xAC", "\xEF\xBF\xBD"};
const std::vector<std::string> kReferences = {"&plain;", "&nested;", "&markup;", "&breaks;", "&late;"};
const std::vector<std::string> kValues = {
    "", "v", "two  words", "&lt;&amp;>&quot;'", "&#9;&#10;&#13;", "\t\n\r\n", "\xC3\xA9"};

}  // namespace

RandomDocument::RandomDocument(unsigned number) : random_(number) {
  xercesc::XMLPlatformUtils::Initialize();
}

std::string RandomDocument::doctype() {
  return R"(<!DOCTYPE root [<!-- c --><?p?>
<!ENTITY plain "text"><!ENTITY nested 'a &#38;lt; &plain; "&markup;"'>
<!ENTITY markup "<e p='1'>in &late;</e><![CDATA[a&#13;b]]>&#60;f/>"><!ENTITY breaks '&#13;&#38;#13;)"
         "\r\n"
         R"('><!ENTITY % late '<!ENTITY late "l&#38;#37;">'> %late; <!NOTATION n PUBLIC "-//n"><!ELEMENT d ANY>
<!ATTLIST d d1 CDATA "&plain;&#10;&lt;" d2 NMTOKENS ' x  y ' d3 (a|b) 'b' d4 NOTATION (n) #IMPLIED
 xml:space CDATA #FIXED 'preserve' xmlns:dd CDATA 'urn:dd'>
]>)";
}

std::string RandomDocument::text() {
  if (!latin1_ && chance(25)) return pick(kWideText);
  if (hasDoctype_ && chance(25)) return pick(kReferences);
  return pick(kText);
}

std::string RandomDocument::attributeValue() {
  if (hasDoctype_ && chance(15)) return "x&plain;y";
  return !latin1_ && chance(15) ? pick(kWideText) : pick(kValues);
}

std::string RandomDocument::attributes() {
  std::string result;
  for (const char* prefix : {"p", "q", "zz"})
    if (chance(20)) result += std::string(" xmlns:") + prefix + "=\"" + pick(kUris) + "\"";
  for (const char* name : {"xml:lang", "xml:space", "xml:base"})
    if (chance(8)) result += std::string(" ") + name + "='" + pick({"en", "de", "preserve"}) + "'";
  std::set<std::string> plain;
  std::set<std::string> prefixed;
  for (auto count = chance(60) ? 0 : random_() % 6; count > 0; --count) {
    const std::string& prefix = pick(kPrefixes);
    const std::string& name = pick(kNames);
    if (!(prefix.empty() ? plain : prefixed).insert(name).second) continue;
    result += " " + (prefix.empty() ? name : prefix + ":" + name) + "=\"" + attributeValue() + "\"";
  }
  return result;
}

std::string RandomDocument::element(const std::string& name, const std::string& inside, unsigned depth) {
  const std::string more = content(depth);
  return "<" + name + attributes() + ">" + more + inside + (inside.empty() ? "" : content(depth)) + "</" +
         name + ">";
}

std::string RandomDocument::content(unsigned depth) {
  std::string result;
  for (auto count = random_() % 5; count > 0; --count) {
    if (depth == 0 || chance(50)) {
      result += text();
    } else if (chance(20)) {
      // Default namespaces may come and go inside of what is signed.
      result += "<e xmlns=\"" + (chance(30) ? "" : pick(kUris)) + "\">" + content(depth - 1) + "</e>";
    } else if (chance(15)) {
      result += "<d/>";
    } else {
      const std::string& prefix = pick(kPrefixes);
      result += element(prefix.empty() ? pick(kNames) : prefix + ":" + pick(kNames), "", depth - 1);
    }
  }
  return result;
}

std::string RandomDocument::bytes() {
  const auto encoding = random_() % 4;
  latin1_ = encoding == 1;
  hasDoctype_ = chance(50);
  const char* const names[] = {"UTF-8", "ISO-8859-1", "UTF-16", "UTF-8"};

  std::string counterpart = element("CounterpartData", "", 3);
  std::string inside = chance(25) ? element("RenderedData", element("w", counterpart, 1), 2)
                                  : element("w", counterpart, 1) + element("RenderedData", "", 3);
  if (chance(30)) inside = "<o xmlns=\"urn:o\"><i xmlns=\"\">" + inside + "</i></o>";
  std::string document = std::string("<?xml version=\"1.0\" encoding=\"") + names[encoding] + "\"?>" +
                         (hasDoctype_ ? doctype() : "\n") + "<?before?><!--before-->" +
                         element("root", inside, 1) + "\n<?after data?><!-- after -->\n";

  if (encoding != 1 && encoding != 2) return document;
  std::string encoded = encoding == 2 ? "\xFE\xFF" : "";
  for (const char16_t c : toUtf16(document)) {
    if (encoding == 2) encoded += static_cast<char>(c >> 8);
    encoded += static_cast<char>(c & 0xFF);
  }
  return encoded;
}
