#include "e2e/Messages.h"
#include "reliability/HostileBodies.h"

namespace reliability {
namespace {

using e2e::agreement;
using Piece = std::function<std::string(std::size_t)>;

Hostile inside(const char* name, const std::string& text) {
  return {name, [=](std::size_t size) { return agreement(fill(text, size)); }};
}

Hostile insideNumbered(const char* name, const Piece& piece) {
  return {name, [=](std::size_t size) { return agreement(pieces(size, piece)); }};
}

}  // namespace

std::string harmlessXml(std::size_t size) {
  return agreement(fill("<Line Number=\"1\">A line of a document</Line>\n", size));
}

std::vector<Hostile> hostileContent() {
  const auto prefixed = [](std::size_t i) { return " xmlns:p" + number(i) + "='urn:" + number(i) + "'"; };
  const std::string longText(1000, 'x');
  return {
      inside("elements", "<a/>"),
      inside("elements with texts", "<a>b</a>c"),
      inside("comments", "<!---->"),
      inside("instructions", "<?a?>"),
      inside("CDATA sections", "<![CDATA[]]>"),
      inside("CDATA sections with texts", "<![CDATA[&]]>b"),
      inside("character references", "&#1234;"),
      inside("predefined entities", "&lt;"),
      inside("line ends", "\r\n"),
      inside("carriage returns", "&#13;"),
      inside("attributes on each element", "<a a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8'/>"),
      inside("attributes of references", "<a b='&#9;&#10;&#13;&quot;'/>"),
      inside("namespaces on each element", "<p:a xmlns:p='urn:1' p:b='1'/><p:a xmlns:p='urn:2'/>"),
      inside("default namespaces", "<a xmlns='urn:1'><b xmlns=''/></a>"),
      {"1,000 levels, again and again",
       [](std::size_t size) {
         const std::string tower = fill("<a>", 2970) + fill("</a>", 3960);
         return agreement(fill(tower, size));
       }},
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
      {"elements that never end", [](std::size_t size) { return "<a>" + fill("<a>", size); }},
      {"attributes of one element",
       [](std::size_t size) {
         return agreement("<a" + pieces(size, [](std::size_t i) { return " a" + number(i) + "='1'"; }) +
                          "/>");
       }},
      {"10,000 attributes of one element, last first",
       [](std::size_t size) {
         std::string element = "<a";
         for (std::size_t i = 0; i < 9900; ++i) element += " a" + number(20000 - i) + "=''";
         return agreement(fill(element + "/>", size));
       }},
      {"namespaces of one element",
       [=](std::size_t size) { return agreement("<a" + pieces(size, prefixed) + "/>"); }},
      {"9,000 namespaces in scope of each element",
       [=](std::size_t size) {
         std::string open = "<a";
         for (std::size_t i = 0; i < 9000; ++i) open += prefixed(i);
         return agreement(open + ">" + fill("<p7:b p8:c=''/>", size) + "</a>");
       }},
      {"namespaces around what is signed",
       [=](std::size_t size) {
         std::string open = "<a";
         for (std::size_t i = 0; i < 9000; ++i) open += prefixed(i);
         return open + ">" + agreement(fill("<b/>", size)) + "</a>";
       }},
      insideNumbered("a name for each element", [](std::size_t i) { return "<a" + number(i) + "/>"; }),
      insideNumbered("a name for each attribute", [](std::size_t i) { return "<a a" + number(i) + "=''/>"; }),
      insideNumbered("a namespace for each element",
                     [](std::size_t i) { return "<a xmlns='urn:" + number(i) + "'/>"; }),
      insideNumbered("an instruction for each name",
                     [](std::size_t i) { return "<?a" + number(i) + " b?>"; }),
      {"a long name", [](std::size_t size) { return agreement("<" + std::string(size, 'a') + "/>"); }},
      {"a long attribute", [](std::size_t size) { return agreement("<a b='" + fill("c ", size) + "'/>"); }},
      {"a long comment", [](std::size_t size) { return agreement("<!--" + fill("a ", size) + "-->"); }},
      {"a long instruction", [](std::size_t size) { return agreement("<?a " + fill("? ", size) + "?>"); }},
      {"a long CDATA section",
       [](std::size_t size) { return agreement("<![CDATA[" + fill("]] ", size) + "]]>"); }},
      {"a long text and many elements",
       [](std::size_t size) { return agreement(std::string(size / 2, 'x') + fill("<a>b</a>", size / 2)); }},
      {"comments before the root", [](std::size_t size) { return fill("<!---->", size) + agreement(); }},
      {"instructions behind the root", [](std::size_t size) { return agreement() + fill("<?a?>", size); }},
      {"the signed element again and again",
       [](std::size_t size) { return "<a>" + fill("<CounterpartData/>", size) + "<RenderedData/></a>"; }},
      {"white space before the end of a tag",
       [](std::size_t size) { return agreement("<a" + fill(" \n", size) + "></a" + ">"); }},
  };
}

}  // namespace reliability
