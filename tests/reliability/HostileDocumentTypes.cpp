#include "e2e/Messages.h"
#include "reliability/HostileBodies.h"

namespace reliability {
namespace {

using e2e::agreement;

const std::string kSubset = "<!DOCTYPE Agreement [";

/** The declarations fill the document. */
Hostile declarations(const char* name, const Piece& piece, const std::string& content = "") {
  return numbered(name, kSubset, piece, "]>" + agreement(content));
}

/** A few declarations, and a content that uses them all along. */
Hostile uses(const char* name, const std::string& subset, const std::string& text) {
  return {name, [=](std::size_t size) { return kSubset + subset + "]>" + agreement(fill(text, size)); }};
}

std::string laughs(char sigil, std::size_t levels) {
  const std::string kind = sigil == '%' ? "% " : "";
  // Within the internal subset a parameter entity can be named in another's value only by a character
  // reference.
  const std::string reference = sigil == '%' ? "&#37;" : "&";
  std::string subset = "<!ENTITY " + kind + "l0 '<!-- ha -->'>";
  for (std::size_t i = 1; i <= levels; ++i) {
    subset +=
        "<!ENTITY " + kind + "l" + number(i) + " '" + fill(reference + "l" + number(i - 1) + ";", 100) + "'>";
  }
  return subset;
}

std::string defaultAttributes(std::size_t count, std::size_t length) {
  std::string subset;
  for (std::size_t i = 0; i < count; ++i) {
    subset += "<!ATTLIST a d" + number(i) + " CDATA '" + std::string(length, 'v') + "'>";
  }
  return subset;
}

}  // namespace

std::vector<Hostile> hostileEntities() {
  return {
      uses("entities", "<!ENTITY e ''>", "&e;"),
      uses("entities with texts", "<!ENTITY e 'text'>", "&e;"),
      uses("entities with elements", "<!ENTITY e '<a/><a/>'>", "&e;"),
      uses("entities in attributes", "<!ENTITY e 'text'>", "<a b='&e;&e;&e;&e;'/>"),
      uses("entities that grow", laughs('&', 9), "&l9;"),
      uses("entities that grow in attributes", laughs('&', 9) + "<!ENTITY l0 'ha'>", "<a b='&l9;'/>"),
      uses("a large entity", "<!ENTITY e '" + fill("x", 100000) + "'>", "&e;"),
      uses("a large entity in attributes", "<!ENTITY e '" + fill("x", 100000) + "'>", "<a b='&e;'/>"),
      uses("an entity of references", "<!ENTITY e '" + fill("&#38;#60;", 9000) + "'>", "&e;"),
      uses("a large entity in a default",
           "<!ENTITY e '" + fill("x", 100000) + "'><!ATTLIST a b CDATA '&e;&e;&e;'>", "<a/>"),
      uses("entities that hold themselves", "<!ENTITY a '&b;'><!ENTITY b '&a;'>", "&a;"),
      uses("parameter entities that grow", laughs('%', 9) + "%l9;", "<a/>"),
      {"a large parameter entity",
       [](std::size_t size) {
         const std::string entity = "<!ENTITY % p '<!--" + fill("x", size / 2) + "-->'>";
         return kSubset + entity + fill("%p;", size / 2) + "]>" + agreement();
       }},
  };
}

std::vector<Hostile> hostileDeclarations() {
  const std::string longText(1000, 'x');
  const auto alternative = [](std::size_t i) { return "|x" + number(i); };
  return {
      uses("default attributes", defaultAttributes(400, 1), "<a/>"),
      uses("large default attributes", defaultAttributes(1, 10000), "<a/>"),
      uses("identifiers that are equal", "<!ATTLIST a b ID #IMPLIED>", "<a b='x'/>"),
      uses("identifiers by default", "<!ATTLIST a b ID 'x'>", "<a/>"),
      numbered(
          "identifiers", kSubset + "<!ATTLIST a b ID #IMPLIED>]><Agreement><CounterpartData>",
          [](std::size_t i) { return "<a b='x" + number(i) + "'/>"; },
          "</CounterpartData><RenderedData/></Agreement>"),
      uses("enumerations", "<!ATTLIST a b (x|y|z) 'x' c NMTOKENS 'p q'>", "<a c='  r  s '/>"),
      declarations(
          "entity declarations", [](std::size_t i) { return "<!ENTITY e" + number(i) + " ''>"; }, "&e7;"),
      declarations("large entity declarations",
                   [=](std::size_t i) { return "<!ENTITY e" + number(i) + " '" + longText + "'>"; }),
      declarations("one entity declared again and again", [](std::size_t) { return "<!ENTITY e ''>"; }),
      declarations("parameter entity declarations",
                   [](std::size_t i) { return "<!ENTITY % e" + number(i) + " ''>"; }),
      declarations("notation declarations",
                   [](std::size_t i) { return "<!NOTATION n" + number(i) + " SYSTEM 's'>"; }),
      declarations("attribute declarations",
                   [](std::size_t i) { return "<!ATTLIST a a" + number(i) + " CDATA ''>"; }),
      declarations(
          "attributes declared together",
          [](std::size_t i) { return (i == 0 ? "<!ATTLIST a" : "") + (" a" + number(i)) + " CDATA ''"; }),
      declarations("element declarations", [](std::size_t i) { return "<!ELEMENT e" + number(i) + " ANY>"; }),
      declarations("comments in the subset", [](std::size_t) { return "<!---->"; }),
      between("a content model of many names", kSubset + "<!ELEMENT a (b", "|b", ")*>]>" + agreement()),
      between("a content model in order", kSubset + "<!ELEMENT a (b", ",b", ")>]>" + agreement()),
      numbered("a mixed content model", kSubset + "<!ELEMENT a (#PCDATA", alternative, ")*>]>" + agreement()),
      {"a content model in parentheses",
       [](std::size_t size) {
         const std::string model = fill("(", size / 2) + "b" + fill(")", size / 2);
         return kSubset + "<!ELEMENT a " + model + ">]>" + agreement();
       }},
      numbered("a long enumeration", kSubset + "<!ATTLIST a b (x", alternative,
               ") 'x'>]>" + agreement("<a/>")),
      between("a long public identifier", "<!DOCTYPE a PUBLIC '", "x ", "' ''>" + agreement()),
  };
}

}  // namespace reliability
