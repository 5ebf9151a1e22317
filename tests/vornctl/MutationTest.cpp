#include <algorithm>
#include <random>

#include "vornctl/VerifyFixture.h"

namespace vorn::vornctl {
namespace {

/** Small changes at random: mostly of the signatures, where most bytes change nothing of what is signed. */
class Mutant {
 public:
  explicit Mutant(unsigned seed) : random_(seed) {}

  std::string of(std::string xml) {
    static const std::vector<std::string> kInsertions = {
        " ",
        "\n",
        "=",
        "A",
        "x",
        "<q/>",
        "<!-- c -->",
        "<?p d?>",
        "<?a:b c?>",
        "&#65;",
        "<![CDATA[A]]>",
        "\xC2\xA0",
        "<a:b:c/>",
        "<u:v/>",
        "<z xmlns:q='rel'/>",
        "<z xmlns:q=''/>",
        "<z xmlns:q='a&amp;b:c'/>",
        "<z xmlns:q='http://a b/'/>",
        "<z xmlns:q='http://h:x/'/>",
        "<z xmlns:q='http://h:2147483648/'/>",
        "<z xmlns:q='urn:a#b#c'/>",
        "<z xmlns:q='urn:%zz'/>",
        "<z xmlns='urn:a'/>",
        "<CounterpartData xmlns='urn:a'/>",
        "<Signature xmlns='http://www.w3.org/2000/09/xmldsig#'/>",
        "<Object/>",
        "<KeyName>k</KeyName>"};
    static const std::vector<std::string> kAttributes = {" xmlns=''",
                                                         " xmlns='urn:x'",
                                                         " xmlns:q='urn:q'",
                                                         " xmlns:q='rel'",
                                                         " xml:lang='de'",
                                                         " Id='i'",
                                                         " u:v='1'",
                                                         " xmlns:ds='http://www.w3.org/2000/09/xmldsig#'",
                                                         " xmlns:xml='http://www.w3.org/XML/1998/namespace'"};
    const std::size_t at = position(xml);
    const std::size_t tag = xml.find('<', at), end = xml.find('>', at);
    switch (below(7)) {
      case 0:
        return xml.erase(at, 1);
      case 1:
        return xml.replace(at, 1, 1, static_cast<char>(32 + below(95)));
      case 2:
        return xml.insert(at, xml, at, 1 + below(3));
      case 3:
        return xml.insert(at, pick(kInsertions));
      case 4:
        return tag == std::string::npos ? xml : xml.insert(tag, pick(kInsertions));
      case 5:
        return end == std::string::npos ? xml : xml.insert(end + 1, pick(kInsertions));
      default:
        return end == std::string::npos ? xml
                                        : xml.insert(xml[end - 1] == '/' ? end - 1 : end, pick(kAttributes));
    }
  }

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  const std::string& pick(const std::vector<std::string>& texts) { return texts[below(texts.size())]; }
  /** In one of the signatures, outside of the signed elements, or anywhere. */
  std::size_t position(const std::string& xml) {
    const std::size_t place = below(6);
    const std::size_t signature = place % 2 == 0 ? xml.find("<Signature ") : xml.rfind("<Signature ");
    if (place < 2) return signature + below(xml.find("</Signature>", signature) - signature);
    if (place == 2) return below(xml.size());
    const std::size_t first = std::min(xml.find("<CounterpartData"), xml.find("<RenderedData"));
    const std::size_t last = xml.find('>', xml.rfind("Data>")) + 1;
    return place == 3 ? below(first) : last + below(xml.size() - last);
  }

  std::mt19937 random_;
};

TEST_F(Verify, PassesNothingThatXmlsecRefuses) {
  const std::string originals[] = {
      sign(e2e::agreement()),
      sign("<x:A xmlns:x='urn:x' xml:lang='en'><CounterpartData x:a='1'>1<x:b/></CounterpartData>"
           "<RenderedData/></x:A>"),
      sign("<A><!-- c --><RenderedData>25<a b='c'/></RenderedData><?p d?><CounterpartData/>&#65;</A>"),
      sign("<!DOCTYPE A [<!ENTITY e 'f'>]><A><RenderedData><CounterpartData>&e;</CounterpartData>"
           "</RenderedData></A>")};
  constexpr unsigned kCount = 600;
  std::string names;
  for (unsigned i = 0; i < kCount; ++i) {
    Mutant mutant(i);
    std::string xml = mutant.of(originals[i % std::size(originals)]);
    if (i % 4 == 0) xml = mutant.of(xml);
    e2e::writeFile(home_.path() / (std::to_string(i) + ".xml"), xml);
    names += " " + std::to_string(i) + ".xml";
  }
  const nlohmann::json verdicts = verify("--trusted authority.pem" + names);
  std::string passed;
  std::size_t count = 0;
  for (const auto& verdict : verdicts) {
    if (verdict["verdict"] != "passed") continue;
    passed += " " + std::string(verdict["file"]);
    ++count;
  }
  EXPECT_EQ(verdicts.size(), kCount);
  // Neither so harmless that nothing is tried nor so harsh that nothing is left.
  EXPECT_GT(count, kCount / 20);
  EXPECT_LT(count, kCount / 2);
  for (const char* element : {"CounterpartData", "RenderedData"}) {
    const Result others =
        run(home_, "xmlsec1 --verify --enabled-key-data x509 --trusted-pem authority.pem --node-xpath \"//" +
                       std::string(element) + "/*[local-name()=\\\"Signature\\\"][last()]\"" + passed);
    EXPECT_EQ(others.status, 0) << others.output;
  }
}

}  // namespace
}  // namespace vorn::vornctl
