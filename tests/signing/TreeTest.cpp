#include <gtest/gtest.h>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include "shared/xml/DocumentElements.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"
#include "signing/Parsed.h"

namespace {

using xercesc::DOMNode;

/** The links up, back and to the last child have to agree with those that the walk takes. */
void expectSoundLinks(DOMNode& root) {
  for (TreeWalk<DOMNode> walk(&root); walk.node() != nullptr; walk.advance()) {
    if (walk.leaving()) continue;
    DOMNode* const parent = walk.node();
    DOMNode* previous = nullptr;
    for (DOMNode* child = parent->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
      EXPECT_EQ(child->getParentNode(), parent);
      EXPECT_EQ(child->getPreviousSibling(), previous);
      previous = child;
    }
    EXPECT_EQ(parent->getLastChild(), previous);
  }
}

xercesc::DOMElement* rootOf(xercesc::XercesDOMParser& parser, const std::string& text) {
  const auto* bytes = reinterpret_cast<const XMLByte*>(text.data());
  parser.parse(xercesc::MemBufInputSource(bytes, text.size(), "test"));
  return parser.getDocument()->getDocumentElement();
}

TEST(Tree, IsTheLibrarysOwn) {
  const std::string longText(200000, 'x');
  const std::string cases[] = {
      "<a/>",
      "<a b='2' a='1' c=''><b/>t<b x='&lt;'>u</b>v</a>",
      "<a>one &amp; two<!-- c -->three<?p d?>four<![CDATA[five]]>six<b/> <b></b>\r\n</a>",
      "<a>" + longText + "&lt;" + longText + "<b>" + longText.substr(0, 40000) + "</b>&#x20AC;</a>",
      "<!DOCTYPE a [<!ENTITY e 'in<b x=\"1\">side</b>'><!ENTITY f '&e;&e;'><!ATTLIST b d CDATA 'default' i "
      "ID "
      "#IMPLIED>]><a>x&e;y<b i='id'>&f;</b>z</a>",
  };
  for (const std::string& text : cases) {
    Parsed ours(text);
    xercesc::DOMDocument& tree = ours.document();
    xercesc::XercesDOMParser theirs;
    // The document type is told in other words.
    EXPECT_TRUE(tree.getDocumentElement()->isEqualNode(rootOf(theirs, text))) << text.substr(0, 200);
    expectSoundLinks(tree);
    // The index says what a walk says, and both what the library says.
    for (const bool isForgotten : {false, true}) {
      if (isForgotten) ElementIndex::forget(tree);
      for (const char* name : {"a", "b", "none"}) {
        const auto* elements = tree.getElementsByTagName(toUtf16(name).c_str());
        const NamedElements found = findElements(tree, name);
        EXPECT_EQ(found.count, elements->getLength()) << name << " in " << text.substr(0, 200);
        EXPECT_EQ(found.first, elements->item(0));
      }
    }
  }
}

}  // namespace
