#include "reliability/HostileBodies.h"

#include "e2e/Messages.h"

namespace reliability {
namespace {

using e2e::agreement;

const std::string kOpen = "<Agreement><CounterpartData>";
const std::string kClose = "</CounterpartData><RenderedData>Page</RenderedData></Agreement>";
const std::string kSubset = "<!DOCTYPE Agreement [";

Hostile nested(const char* name, const std::string& open, const std::string& inmost,
               const std::string& close) {
  return {name, [=](std::size_t size) {
            const std::size_t depth = size / (open.size() + close.size());
            return fill(open, depth * open.size()) + inmost + fill(close, depth * close.size());
          }};
}

Hostile inside(const char* name, const std::string& text) {
  return between(name, kOpen, text, kClose);
}

Hostile insideNumbered(const char* name, const Piece& piece) {
  return numbered(name, kOpen, piece, kClose);
}

/** The declarations fill the document. */
Hostile declarations(const char* name, const Piece& piece) {
  return numbered(name, kSubset, piece, "]>" + agreement());
}

/** A few declarations, and a content that uses them all along. */
Hostile uses(const char* name, const std::string& subset, const std::string& text) {
  return {name, [=](std::size_t size) { return kSubset + subset + "]>" + agreement(fill(text, size)); }};
}

std::string laughs(char sigil) {
  const std::string kind = sigil == '%' ? "% " : "";
  // Within the internal subset a parameter entity can be named in another's value only by
  // a character reference.
  const std::string reference = sigil == '%' ? "&#37;" : "&";
  std::string subset = "<!ENTITY " + kind + "l0 '<!-- ha -->'>";
  for (std::size_t i = 1; i <= 9; ++i) {
    subset +=
        "<!ENTITY " + kind + "l" + number(i) + " '" + fill(reference + "l" + number(i - 1) + ";", 100) + "'>";
  }
  return subset;
}

std::string defaultAttributes(std::size_t count, std::size_t length) {
  std::string subset;
  for (std::size_t i = 0; i < count; ++i)
    subset += "<!ATTLIST a d" + number(i) + " CDATA '" + std::string(length, 'v') + "'>";
  return subset;
}

}  // namespace

std::string fill(const std::string& text, std::size_t size) {
  return pieces(size, [&](std::size_t) { return text; });
}

std::string pieces(std::size_t size, const Piece& piece) {
  std::string result;
  for (std::size_t i = 0; result.size() < size; ++i) result += piece(i);
  return result;
}

std::string number(std::size_t i) {
  return std::to_string(i);
}

Hostile between(const char* name, const std::string& before, const std::string& text,
                const std::string& after) {
  return {name, [=](std::size_t size) { return before + fill(text, size) + after; }};
}

Hostile numbered(const char* name, const std::string& before, const Piece& piece, const std::string& after) {
  return {name, [=](std::size_t size) { return before + pieces(size, piece) + after; }};
}

std::string harmlessJson(std::size_t size) {
  return "[" + fill(R"({"id": 12, "name": "Jane Citizen", "tags": ["a", "b"], "valid": true},)", size) + "1]";
}

std::string harmlessXml(std::size_t size) {
  return agreement(fill("<Line Number=\"1\">A line of a document</Line>\n", size));
}

std::vector<Hostile> hostileJson() {
  const auto descending = [](std::size_t i) { return "\"" + number(99999999 - i) + "\":1,"; };
  const auto alike = [](std::size_t i) {
    return "\"" + std::string(200, 'k') + number(i * 7919 % 100003) + "\":1,";
  };
  return {
      nested("arrays in arrays", "[", "1", "]"),
      nested("arrays that break off into objects", "[1 {\"a\":", "1", "}"),
      nested("arrays that never end", "[", "", ""),
      numbered("many keys, last first", "{", descending, "}"),
      numbered("keys alike for long", "{", alike, "}"),
      between("one key again and again", "{", "\"a\":[1],", "}"),
      between("empty slots", "[", ",", "]"),
      between("exponents", "[", "-1.5e-4000,", "]"),
      between("a long number", "", "9", ""),
      between("odd byte escapes", "\"", "\\u+-1x\\u", "\""),
      between("comments within words", "[t", "//\n", "rue]"),
      between("white space", "", " \t\n\v\f\r", "1"),
      between("a text that never ends", "\"", "\\\"'", ""),
      between("characters that are written longer", "\"", "\x01", "\""),
  };
}

std::vector<Hostile> hostileContent() {
  const auto prefixed = [](std::size_t i) { return " xmlns:p" + number(i) + "='urn:" + number(i) + "'"; };
  std::string scope = "<a";
  for (std::size_t i = 0; i < 9000; ++i) scope += prefixed(i);
  scope += ">";
  return {
      inside("elements", "<a/>"),
      inside("CDATA sections with texts", "<![CDATA[&]]>b"),
      inside("character references", "&#1234;"),
      inside("attributes on each element", "<a a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8'/>"),
      inside("namespaces on each element", "<p:a xmlns:p='urn:1' p:b='1'/><p:a xmlns:p='urn:2'/>"),
      inside("1,000 levels, again and again", fill("<a>", 2970) + fill("</a>", 3960)),
      {"1,000 levels of namespaces",
       [=](std::size_t size) {
         std::string open;
         for (std::size_t i = 0; i < 900; ++i)
           open += "<a" + pieces(size / 900, [&](std::size_t j) { return prefixed(j * 900 + i); }) + ">";
         return agreement(open + fill("</a>", 3600));
       }},
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
      insideNumbered("a namespace for each element",
                     [](std::size_t i) { return "<a xmlns='urn:" + number(i) + "'/>"; }),
      between("a long name", kOpen + "<", "a", "/>" + kClose),
      between("a long attribute", kOpen + "<a b='", "c ", "'/>" + kClose),
      between("a long CDATA section", kOpen + "<![CDATA[", "]] ", "]]>" + kClose),
      between("comments before the root", "", "<!---->", agreement()),
      between("the signed element again and again", "<a>", "<CounterpartData/>", "<RenderedData/></a>"),
      between("white space before the end of a tag", kOpen + "<a", " \n", "></a>" + kClose),
  };
}

std::vector<Hostile> hostileEntities() {
  const std::string large = "<!ENTITY e '" + fill("x", 100000) + "'>";
  return {
      uses("entities with elements", "<!ENTITY e '<a/><a/>'>", "&e;"),
      uses("entities in attributes", "<!ENTITY e 'text'>", "<a b='&e;&e;&e;&e;'/>"),
      uses("entities that grow", laughs('&'), "&l9;"),
      uses("a large entity", large, "&e;"),
      uses("a large entity in attributes", large, "<a b='&e;'/>"),
      uses("a large entity in a default", large + "<!ATTLIST a b CDATA '&e;&e;&e;'>", "<a/>"),
      uses("entities that hold themselves", "<!ENTITY a '&b;'><!ENTITY b '&a;'>", "&a;"),
      uses("parameter entities that grow", laughs('%') + "%l9;", "<a/>"),
      {"a large parameter entity",
       [](std::size_t size) {
         const std::string entity = "<!ENTITY % p '<!--" + fill("x", size / 2) + "-->'>";
         return kSubset + entity + fill("%p;", size / 2) + "]>" + agreement();
       }},
  };
}

std::vector<Hostile> hostileDeclarations() {
  const auto alternative = [](std::size_t i) { return "|x" + number(i); };
  return {
      uses("default attributes", defaultAttributes(400, 1), "<a/>"),
      uses("large default attributes", defaultAttributes(1, 10000), "<a/>"),
      uses("identifiers that are equal", "<!ATTLIST a b ID #IMPLIED>", "<a b='x'/>"),
      numbered(
          "identifiers", kSubset + "<!ATTLIST a b ID #IMPLIED>]>" + kOpen,
          [](std::size_t i) { return "<a b='x" + number(i) + "'/>"; }, kClose),
      declarations("entity declarations", [](std::size_t i) { return "<!ENTITY e" + number(i) + " ''>"; }),
      declarations("one entity declared again and again", [](std::size_t) { return "<!ENTITY e ''>"; }),
      declarations("notation declarations",
                   [](std::size_t i) { return "<!NOTATION n" + number(i) + " SYSTEM 's'>"; }),
      declarations("attribute declarations",
                   [](std::size_t i) { return "<!ATTLIST a a" + number(i) + " CDATA ''>"; }),
      declarations("element declarations", [](std::size_t i) { return "<!ELEMENT e" + number(i) + " ANY>"; }),
      between("a content model in order", kSubset + "<!ELEMENT a (b", ",b", ")>]>" + agreement()),
      numbered("a mixed content model", kSubset + "<!ELEMENT a (#PCDATA", alternative, ")*>]>" + agreement()),
      {"a content model in parentheses",
       [](std::size_t size) {
         const std::string model = fill("(", size / 2) + "b" + fill(")", size / 2);
         return kSubset + "<!ELEMENT a " + model + ">]>" + agreement();
       }},
      numbered("a long enumeration", kSubset + "<!ATTLIST a b (x", alternative,
               ") 'x'>]>" + agreement("<a/>")),
  };
}

}  // namespace reliability
