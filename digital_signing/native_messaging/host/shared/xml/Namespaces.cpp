#include "shared/xml/Namespaces.h"

#include <algorithm>
#include <utility>
#include <xercesc/util/XMLChar.hpp>

#include "shared/text/Utf8.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

constexpr std::u16string_view kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

// Of the fourth edition's appendix B, beyond ASCII: where runs of letters and ideographs begin and where they
// have ended, in turns; and the same of what else can stand in a name.
// clang-format off
constexpr std::u16string_view kLetters =
    u"\u00C0\u00D7\u00D8\u00F7\u00F8\u0132\u0134\u013F\u0141\u0149\u014A\u017F\u0180\u01C4\u01CD\u01F1\u01F4\u01F6"
    u"\u01FA\u0218\u0250\u02A9\u02BB\u02C2\u0386\u0387\u0388\u038B\u038C\u038D\u038E\u03A2\u03A3\u03CF\u03D0\u03D7"
    u"\u03DA\u03DB\u03DC\u03DD\u03DE\u03DF\u03E0\u03E1\u03E2\u03F4\u0401\u040D\u040E\u0450\u0451\u045D\u045E\u0482"
    u"\u0490\u04C5\u04C7\u04C9\u04CB\u04CD\u04D0\u04EC\u04EE\u04F6\u04F8\u04FA\u0531\u0557\u0559\u055A\u0561\u0587"
    u"\u05D0\u05EB\u05F0\u05F3\u0621\u063B\u0641\u064B\u0671\u06B8\u06BA\u06BF\u06C0\u06CF\u06D0\u06D4\u06D5\u06D6"
    u"\u06E5\u06E7\u0905\u093A\u093D\u093E\u0958\u0962\u0985\u098D\u098F\u0991\u0993\u09A9\u09AA\u09B1\u09B2\u09B3"
    u"\u09B6\u09BA\u09DC\u09DE\u09DF\u09E2\u09F0\u09F2\u0A05\u0A0B\u0A0F\u0A11\u0A13\u0A29\u0A2A\u0A31\u0A32\u0A34"
    u"\u0A35\u0A37\u0A38\u0A3A\u0A59\u0A5D\u0A5E\u0A5F\u0A72\u0A75\u0A85\u0A8C\u0A8D\u0A8E\u0A8F\u0A92\u0A93\u0AA9"
    u"\u0AAA\u0AB1\u0AB2\u0AB4\u0AB5\u0ABA\u0ABD\u0ABE\u0AE0\u0AE1\u0B05\u0B0D\u0B0F\u0B11\u0B13\u0B29\u0B2A\u0B31"
    u"\u0B32\u0B34\u0B36\u0B3A\u0B3D\u0B3E\u0B5C\u0B5E\u0B5F\u0B62\u0B85\u0B8B\u0B8E\u0B91\u0B92\u0B96\u0B99\u0B9B"
    u"\u0B9C\u0B9D\u0B9E\u0BA0\u0BA3\u0BA5\u0BA8\u0BAB\u0BAE\u0BB6\u0BB7\u0BBA\u0C05\u0C0D\u0C0E\u0C11\u0C12\u0C29"
    u"\u0C2A\u0C34\u0C35\u0C3A\u0C60\u0C62\u0C85\u0C8D\u0C8E\u0C91\u0C92\u0CA9\u0CAA\u0CB4\u0CB5\u0CBA\u0CDE\u0CDF"
    u"\u0CE0\u0CE2\u0D05\u0D0D\u0D0E\u0D11\u0D12\u0D29\u0D2A\u0D3A\u0D60\u0D62\u0E01\u0E2F\u0E30\u0E31\u0E32\u0E34"
    u"\u0E40\u0E46\u0E81\u0E83\u0E84\u0E85\u0E87\u0E89\u0E8A\u0E8B\u0E8D\u0E8E\u0E94\u0E98\u0E99\u0EA0\u0EA1\u0EA4"
    u"\u0EA5\u0EA6\u0EA7\u0EA8\u0EAA\u0EAC\u0EAD\u0EAF\u0EB0\u0EB1\u0EB2\u0EB4\u0EBD\u0EBE\u0EC0\u0EC5\u0F40\u0F48"
    u"\u0F49\u0F6A\u10A0\u10C6\u10D0\u10F7\u1100\u1101\u1102\u1104\u1105\u1108\u1109\u110A\u110B\u110D\u110E\u1113"
    u"\u113C\u113D\u113E\u113F\u1140\u1141\u114C\u114D\u114E\u114F\u1150\u1151\u1154\u1156\u1159\u115A\u115F\u1162"
    u"\u1163\u1164\u1165\u1166\u1167\u1168\u1169\u116A\u116D\u116F\u1172\u1174\u1175\u1176\u119E\u119F\u11A8\u11A9"
    u"\u11AB\u11AC\u11AE\u11B0\u11B7\u11B9\u11BA\u11BB\u11BC\u11C3\u11EB\u11EC\u11F0\u11F1\u11F9\u11FA\u1E00\u1E9C"
    u"\u1EA0\u1EFA\u1F00\u1F16\u1F18\u1F1E\u1F20\u1F46\u1F48\u1F4E\u1F50\u1F58\u1F59\u1F5A\u1F5B\u1F5C\u1F5D\u1F5E"
    u"\u1F5F\u1F7E\u1F80\u1FB5\u1FB6\u1FBD\u1FBE\u1FBF\u1FC2\u1FC5\u1FC6\u1FCD\u1FD0\u1FD4\u1FD6\u1FDC\u1FE0\u1FED"
    u"\u1FF2\u1FF5\u1FF6\u1FFD\u2126\u2127\u212A\u212C\u212E\u212F\u2180\u2183\u3007\u3008\u3021\u302A\u3041\u3095"
    u"\u30A1\u30FB\u3105\u312D\u4E00\u9FA6\uAC00\uD7A4";
constexpr std::u16string_view kOthers =
    u"\u00B7\u00B8\u02D0\u02D2\u0300\u0346\u0360\u0362\u0387\u0388\u0483\u0487\u0591\u05A2\u05A3\u05BA\u05BB\u05BE"
    u"\u05BF\u05C0\u05C1\u05C3\u05C4\u05C5\u0640\u0641\u064B\u0653\u0660\u066A\u0670\u0671\u06D6\u06E5\u06E7\u06E9"
    u"\u06EA\u06EE\u06F0\u06FA\u0901\u0904\u093C\u093D\u093E\u094E\u0951\u0955\u0962\u0964\u0966\u0970\u0981\u0984"
    u"\u09BC\u09BD\u09BE\u09C5\u09C7\u09C9\u09CB\u09CE\u09D7\u09D8\u09E2\u09E4\u09E6\u09F0\u0A02\u0A03\u0A3C\u0A3D"
    u"\u0A3E\u0A43\u0A47\u0A49\u0A4B\u0A4E\u0A66\u0A72\u0A81\u0A84\u0ABC\u0ABD\u0ABE\u0AC6\u0AC7\u0ACA\u0ACB\u0ACE"
    u"\u0AE6\u0AF0\u0B01\u0B04\u0B3C\u0B3D\u0B3E\u0B44\u0B47\u0B49\u0B4B\u0B4E\u0B56\u0B58\u0B66\u0B70\u0B82\u0B84"
    u"\u0BBE\u0BC3\u0BC6\u0BC9\u0BCA\u0BCE\u0BD7\u0BD8\u0BE7\u0BF0\u0C01\u0C04\u0C3E\u0C45\u0C46\u0C49\u0C4A\u0C4E"
    u"\u0C55\u0C57\u0C66\u0C70\u0C82\u0C84\u0CBE\u0CC5\u0CC6\u0CC9\u0CCA\u0CCE\u0CD5\u0CD7\u0CE6\u0CF0\u0D02\u0D04"
    u"\u0D3E\u0D44\u0D46\u0D49\u0D4A\u0D4E\u0D57\u0D58\u0D66\u0D70\u0E31\u0E32\u0E34\u0E3B\u0E46\u0E4F\u0E50\u0E5A"
    u"\u0EB1\u0EB2\u0EB4\u0EBA\u0EBB\u0EBD\u0EC6\u0EC7\u0EC8\u0ECE\u0ED0\u0EDA\u0F18\u0F1A\u0F20\u0F2A\u0F35\u0F36"
    u"\u0F37\u0F38\u0F39\u0F3A\u0F3E\u0F40\u0F71\u0F85\u0F86\u0F8C\u0F90\u0F96\u0F97\u0F98\u0F99\u0FAE\u0FB1\u0FB8"
    u"\u0FB9\u0FBA\u20D0\u20DD\u20E1\u20E2\u3005\u3006\u302A\u3030\u3031\u3036\u3099\u309B\u309D\u309F\u30FC\u30FF";
// clang-format on

bool isIn(std::u16string_view runs, char16_t c) {
  return (std::upper_bound(runs.begin(), runs.end(), c) - runs.begin()) % 2 == 1;
}

}  // namespace

QualifiedName::QualifiedName(std::u16string_view name) : whole(name), local(name) {
  const std::size_t colon = name.find(u':');
  if (colon == std::u16string_view::npos || colon == 0 || colon + 1 == name.size()) return;
  prefix = name.substr(0, colon);
  local = name.substr(colon + 1);
}

bool QualifiedName::isWellFormed() const {
  if (prefix.empty()) return whole.find(u':') == std::u16string_view::npos;
  return local.find(u':') == std::u16string_view::npos &&
         (isHighSurrogate(local[0]) || xercesc::XMLChar1_0::isFirstNameChar(local[0]));
}

bool isOfFourthEdition(std::u16string_view name) {
  bool isFirst = true;
  for (const char16_t c : name) {
    if (c >= 0x80 && !isIn(kLetters, c) && (isFirst || !isIn(kOthers, c))) return false;
    isFirst = c == u':';
  }
  return true;
}

bool isForbiddenDeclaration(std::u16string_view prefix, std::u16string_view uri) {
  return prefix == u"xml" || prefix == u"xmlns" || uri == kXmlNamespace || uri == kXmlnsNamespace ||
         (uri.empty() && !prefix.empty());
}

void NamespaceScope::close() {
  for (const std::size_t mark = marks_.back(); undo_.size() > mark; undo_.pop_back())
    bindings_[undo_.back().prefix] = undo_.back().uri;
  marks_.pop_back();
}

bool NamespaceScope::declare(const Declaration& declaration) {
  std::u16string_view& uri = bindings_[declaration.prefix];
  if (uri == declaration.uri) return false;
  undo_.push_back({declaration.prefix, uri});
  uri = declaration.uri;
  return true;
}

std::u16string_view NamespaceScope::find(std::u16string_view prefix) const {
  const auto binding = bindings_.find(prefix);
  return binding != bindings_.end() ? binding->second : std::u16string_view();
}

namespace {

bool isLetter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

bool isHexDigit(char16_t c) {
  return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

/** Letters, digits, what is in `others`, and escapes like %2F. */
bool isMadeOf(std::u16string_view text, std::u16string_view others) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isLetter(text[i]) || isDigit(text[i]) || others.find(text[i]) != std::u16string_view::npos) continue;
    if (text[i] != u'%' || i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))
      return false;
    i += 2;
  }
  return true;
}

/** The text before the first of the characters, which is taken off `rest` with them. */
std::u16string_view takeUntil(std::u16string_view& rest, std::u16string_view ends) {
  const std::u16string_view taken = rest.substr(0, rest.find_first_of(ends));
  rest.remove_prefix(taken.size());
  return taken;
}

bool isScheme(std::u16string_view text) {
  return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char16_t c) {
    return isLetter(c) || isDigit(c) || c == u'+' || c == u'-' || c == u'.';
  });
}

constexpr std::u16string_view kNameCharacters = u"-._~!$&'()*+,;=";

bool isAuthority(std::u16string_view text) {
  if (const std::size_t at = text.find(u'@'); at != std::u16string_view::npos) {
    if (!isMadeOf(text.substr(0, at), u"-._~!$&'()*+,;=:")) return false;
    text.remove_prefix(at + 1);
  }
  const bool isLiteral = text.starts_with(u'[');
  const std::size_t end = isLiteral ? text.find(u']') : text.find(u':');
  if (isLiteral && end == std::u16string_view::npos) return false;
  const std::u16string_view host = text.substr(isLiteral ? 1 : 0, isLiteral ? end - 1 : end);
  if (!isMadeOf(host, isLiteral ? u"-._~!$&'()*+,;=:" : kNameCharacters)) return false;
  text.remove_prefix(isLiteral ? end + 1 : std::min(end, text.size()));
  // libxml2 reads a port into 31 bits; nine digits always fit.
  constexpr std::size_t kLongestPort = 9;
  return text.empty() || (text[0] == u':' && text.size() > 1 && text.size() - 1 <= kLongestPort &&
                          std::all_of(text.begin() + 1, text.end(), isDigit));
}

/** Whether libxml2, and what is built on it, takes the text for a URI with a scheme: by RFC 3986, but that a
 * port has digits, and a fragment may have brackets. */
bool isAbsoluteUri(std::u16string_view text) {
  const std::size_t colon = text.find(u':');
  if (colon == std::u16string_view::npos || !isScheme(text.substr(0, colon))) return false;
  text.remove_prefix(colon + 1);
  if (text.starts_with(u"//")) {
    text.remove_prefix(2);
    if (!isAuthority(takeUntil(text, u"/?#"))) return false;
  }
  constexpr std::u16string_view kPathCharacters = u"-._~!$&'()*+,;=:@/";
  constexpr std::u16string_view kQueryCharacters = u"-._~!$&'()*+,;=:@/?";
  if (!isMadeOf(takeUntil(text, u"?#"), kPathCharacters)) return false;
  if (text.starts_with(u'?') && !isMadeOf(takeUntil(text, u"#").substr(1), kQueryCharacters)) return false;
  constexpr std::u16string_view kFragmentCharacters = u"-._~!$&'()*+,;=:@/?[]";
  return text.empty() || isMadeOf(text.substr(1), kFragmentCharacters);
}

/** Reserved prefixes and names are bound to each other alone, and a prefix stands for something. */
bool isLegalDeclaration(std::u16string_view prefix, std::u16string_view uri) {
  if (prefix == u"xml") return uri == kXmlNamespace;
  return !isForbiddenDeclaration(prefix, uri);
}

class NamespaceCheck {
 public:
  void enter(const DOMNode& element) {
    scope_.open();
    forEachAttribute(element, [this](const QualifiedName& name, const DOMNode& attribute) {
      if (!name.isDeclaration()) return;
      checkForm(name);
      declare(name.declaredPrefix(), valueOf(attribute));
    });
    checkName(QualifiedName(viewOf(element.getNodeName())));
    expanded_.clear();
    forEachAttribute(element, [this](const QualifiedName& name, const DOMNode&) {
      if (name.isDeclaration()) return;
      checkName(name);
      if (!name.prefix.empty()) expanded_.emplace_back(scope_.find(name.prefix), name.local);
    });
    std::sort(expanded_.begin(), expanded_.end());
    const auto twice = std::adjacent_find(expanded_.begin(), expanded_.end());
    if (twice != expanded_.end())
      note([&] {
        return "the attribute '" + excerptOf(twice->second) + "' stands twice in an element, by two prefixes";
      });
  }

  void leave() { scope_.close(); }

  NamespaceFaults faults() && { return std::move(faults_); }

 private:
  void declare(std::u16string_view prefix, std::u16string_view uri) {
    faults_.hasAmpersand = faults_.hasAmpersand || uri.find(u'&') != std::u16string_view::npos;
    faults_.hasLongUri = faults_.hasLongUri || isLong(uri);
    if (faults_.oddUri.empty() && !uri.empty() && !isAbsoluteUri(uri)) faults_.oddUri = excerptOf(uri);
    if (isLegalDeclaration(prefix, uri))
      scope_.declare({prefix, uri});
    else
      note([&] { return "the prefix '" + excerptOf(prefix) + "' is declared as '" + excerptOf(uri) + "'"; });
  }

  void checkForm(const QualifiedName& name) {
    if (!name.isWellFormed())
      note([&] { return "'" + excerptOf(name.whole) + "' has a colon where none can be"; });
  }

  void checkName(const QualifiedName& name) {
    checkForm(name);
    if (!name.prefix.empty() && !name.isXml() && scope_.find(name.prefix).empty())
      note([&] { return "the prefix '" + excerptOf(name.prefix) + "' is not declared"; });
  }

  /** A document can have any number of faults; the text is made for the first alone. */
  template <typename Text>
  void note(Text text) {
    if (faults_.malformed.empty()) faults_.malformed = text();
  }

  NamespaceScope scope_;
  NamespaceFaults faults_;
  std::vector<std::pair<std::u16string_view, std::u16string_view>> expanded_;  // namespace and local name
};

}  // namespace

NamespaceFaults checkNamespaces(const xercesc::DOMElement& root, NamespaceRange range) {
  NamespaceCheck check;
  for (TreeWalk<const DOMNode> walk(&root); walk.node() != nullptr; walk.advance()) {
    if (walk.node()->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    walk.leaving() ? check.leave() : check.enter(*walk.node());
    if (range == NamespaceRange::kElement) break;
  }
  return std::move(check).faults();
}

}  // namespace vorn
