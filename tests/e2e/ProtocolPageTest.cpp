#include <map>
#include <regex>
#include <set>

#include <gtest/gtest.h>

#include "e2e/Home.h"
#include "shared/Exceptions.h"
#include "shared/SignatureAlgorithm.h"

using namespace vorn;

namespace e2e {
namespace {

TEST(ProtocolPage, ListsEveryCodeWithItsClass) {
  std::map<std::string, std::uint32_t> classes;
  const auto add = [&classes](const char* name, const BaseException& exception) {
    classes[name] = exception.code();
  };
  add("TechnicalException", TechnicalException(""));
  add("InvalidArgumentException", InvalidArgumentException(""));
  add("CertificateNotFoundException", CertificateNotFoundException());
  add("XMLDataParsingException", XMLDataParsingException(""));
  add("InvalidXMLDataException", InvalidXMLDataException(""));
  add("CryptoException", CryptoException(""));
  add("CertificateExpiredException", CertificateExpiredException());
  add("InvalidSignatureAlgorithmException", InvalidSignatureAlgorithmException(""));

  std::map<std::string, std::uint32_t> page;
  const std::regex row(R"(\| (\d+) \| `(\w+)` \| .+ \| .+ \|)");
  for (const std::string& line : lines(readFile(VORN_PROTOCOL_PAGE))) {
    if (std::smatch match; std::regex_match(line, match, row)) {
      EXPECT_EQ(page.count(match[2]), 0U) << line;
      page[match[2]] = static_cast<std::uint32_t>(std::stoul(match[1]));
    }
  }
  EXPECT_EQ(page, classes);

  // A class that is new here has to come onto the page and into the list above.
  const std::string header = readFile(VORN_EXCEPTIONS_HEADER);
  const std::regex declaration("class (\\w+) : public BaseException");
  EXPECT_EQ(
      std::distance(std::sregex_iterator(header.begin(), header.end(), declaration), std::sregex_iterator()),
      static_cast<std::ptrdiff_t>(classes.size()));
}

TEST(Pages, NameEverySignatureAlgorithmAndNoOther) {
  std::set<std::string> known;
  for (const NamedAlgorithm& algorithm : kSignatureAlgorithms) known.emplace(algorithm.name);
  const std::string root = VORN_SOURCES;
  for (const char* page :
       {"/docs/protocol.md", "/man/vornctl.1", "/completions/vornctl", "/examples/extension/page.html"}) {
    const std::string text = readFile(root + page);
    const std::regex name("RSA_SHA\\d+");
    EXPECT_EQ(std::set<std::string>(std::sregex_token_iterator(text.begin(), text.end(), name), {}), known)
        << page;
  }
}

}  // namespace
}  // namespace e2e
