#include "e2e/Messages.h"
#include "reliability/HostileBodies.h"

namespace reliability {
namespace {

using e2e::agreement;
const std::string kOpen = "<Agreement><CounterpartData>";
const std::string kClose = "</CounterpartData><RenderedData>Page</RenderedData></Agreement>";

Hostile inside(const char* name, const std::string& text) {
  return between(name, kOpen, text, kClose);
}

Hostile insideNumbered(const char* name, const Piece& piece) {
  return numbered(name, kOpen, piece, kClose);
}

}  // namespace

std::string harmlessXml(std::size_t size) {
  return agreement(fill("<Line Number=\"1\">A line of a document</Line>\n", size));
}

std::vector<Hostile> hostileContent() {
  const auto prefixed = [](std::size_t i) { return " xmlns:p" + number(i) + "='urn:" + number(i) + "'"; };
  std::string scope = "<a";
  for (std::size_t i = 0; i < 9000; ++i) scope += prefixed(i);
  scope += ">";
  return {
      inside("elements", "<a/>"),
      inside("elements with texts", "<a>b</a>c"),
      inside("comments", "<!---->"),
      inside("CDATA sections", "<![CDATA[]]>"),
      inside("CDATA sections with texts", "<![CDATA[&]]>b"),
      inside("character references", "&#1234;"),
      inside("line ends", "\r\n"),
      inside("carriage returns", "&#13;"),
      inside("attributes on each element", "<a a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8'/>"),
      inside("attributes of references", "<a b='&#9;&#10;&#13;&quot;'/>"),
      inside("namespaces on each element", "<p:a xmlns:p='urn:1' p:b='1'/><p:a xmlns:p='urn:2'/>"),
      inside("default namespaces", "<a xmlns='urn:1'><b xmlns=''/></a>"),
      inside("1,000 levels, again and again", fill("<a>", 2970) + fill("</a>", 3960)),
      {"1,000 levels of namespaces",
       [=](std::size_t size) {
         std::string open;
         for (std::size_t i = 0; i < 900; ++i) {
           open += "<a" + pieces(size / 900, [&](std::size_t j) { return prefixed(j * 900 + i); }) + ">";
         }
         return agreement(open + fill("</a>", 3600));
       }},
      {"a namespace redeclared at 1,000 levels",
       [](std::size_t size) {
         std::string tower;
         for (std::size_t i = 0; i < 900; ++i) tower += "<p:a xmlns:p='urn:" + number(i) + "'>";
         return agreement(fill(tower + fill("</p:a>", 5400), size));
       }},
      {"elements nested too deeply",
       [](std::size_t size) { return agreement(fill("<a>", size / 2) + fill("</a>", size / 2)); }},
      between("elements that never end", "<a>", "<a>", ""),
      numbered(
          "attributes of one element", kOpen + "<a", [](std::size_t i) { return " a" + number(i) + "='1'"; },
          "/>" + kClose),
      {"10,000 attributes of one element, last first",
       [](std::size_t size) {
         std::string element = "<a";
         for (std::size_t i = 0; i < 9900; ++i) element += " a" + number(20000 - i) + "=''";
         return agreement(fill(element + "/>", size));
       }},
      numbered("namespaces of one element", kOpen + "<a", prefixed, "/>" + kClose),
      between("9,000 namespaces in scope of each element", kOpen + scope, "<p7:b p8:c=''/>", "</a>" + kClose),
      between("namespaces around what is signed", scope + kOpen, "<b/>", kClose + "</a>"),
      insideNumbered("a name for each element", [](std::size_t i) { return "<a" + number(i) + "/>"; }),
      insideNumbered("a name for each attribute", [](std::size_t i) { return "<a a" + number(i) + "=''/>"; }),
      insideNumbered("a namespace for each element",
                     [](std::size_t i) { return "<a xmlns='urn:" + number(i) + "'/>"; }),
      insideNumbered("an instruction for each name",
                     [](std::size_t i) { return "<?a" + number(i) + " b?>"; }),
      between("a long name", kOpen + "<", "a", "/>" + kClose),
      between("a long attribute", kOpen + "<a b='", "c ", "'/>" + kClose),
      between("a long comment", kOpen + "<!--", "a ", "-->" + kClose),
      between("a long instruction", kOpen + "<?a ", "? ", "?>" + kClose),
      between("a long CDATA section", kOpen + "<![CDATA[", "]] ", "]]>" + kClose),
      {"a long text and many elements",
       [](std::size_t size) { return agreement(std::string(size / 2, 'x') + fill("<a>b</a>", size / 2)); }},
      between("comments before the root", "", "<!---->", agreement()),
      between("instructions behind the root", agreement(), "<?a?>", ""),
      between("the signed element again and again", "<a>", "<CounterpartData/>", "<RenderedData/></a>"),
      between("white space before the end of a tag", kOpen + "<a", " \n", "></a>" + kClose),
  };
}

}  // namespace reliability
