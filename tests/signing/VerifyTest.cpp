#include <algorithm>

#include "shared/XMLSigner.h"
#include "signing/RandomDocument.h"
#include "signing/SigningFixture.h"

namespace {

using Verified = SigningTest;

void expectAll(const std::vector<bool>& verdicts, const std::vector<std::string>& documents, const char* element) {
  for (std::size_t i = 0; i < verdicts.size(); ++i) {
    EXPECT_TRUE(verdicts[i]) << element << " of document " << i << ":\n" << documents[i].substr(0, 3000);
  }
}

TEST_F(Verified, RandomDocumentsBySecondImplementation) {
  constexpr unsigned kCount = 150;
  std::vector<std::string> documents;
  for (unsigned i = 0; i < kCount; ++i) {
    XMLSigner::getInstance().initialise(static_cast<XMLSigner::SignatureAlgorithm>(i % 3));
    const std::string document = RandomDocument(i).bytes();
    ASSERT_EQ(refusalOf(toBase64(document)), "signed") << i << ":\n" << document;
    documents.push_back(signXml(document));
  }
  expectAll(verify(documents, "CounterpartData"), documents, "CounterpartData");
  expectAll(verify(documents, "RenderedData"), documents, "RenderedData");
}

}  // namespace
