#include "mac/app/CertificateDetails.h"

#include <cstdlib>
#include <ctime>

#include "selection/SelectionFixture.h"

using namespace vorn;

using namespace scripted;

namespace {

using CertificateDetailsTest = SelectionFixture;

TEST_F(CertificateDetailsTest, EndsTheRequestWhenTheEncoderReportsAnError) {
  for (const char* step : {"encode create", "encode INPUT", "encode execute"}) {
    for (const bool givesResult : {false, true}) {
      startOver({matching("first")});
      ASSERT_EQ(outcome(request()), "selected first");
      script() = {};
      script().identities = {matching("second")};
      script().errors = {{step, -25300}};
      if (!givesResult) script().empty = {step};
      EXPECT_EQ(outcome(request({"0A1B", "FF"})),
                "100 CertificateSelection -  Failed to Base64 encode data. System error code = -25300")
          << step;
      EXPECT_EQ(nameOf(selection_.getCertificate()), "first");
      EXPECT_EQ(selection_.getCertificateSerial(), "");
      EXPECT_EQ(outcome(request()), "selected first") << "the old criteria still hold";
      EXPECT_EQ(script().searches, 1);
    }
  }
}

TEST_F(CertificateDetailsTest, FindsTheFirstCommonNameOfTheIssuer) {
  const auto cn = [](const Value& name) { return property(text("string"), text("2.5.4.3"), name); };
  const Value unit = property(text("string"), text("2.5.4.11"), text("Unit"));
  const Value unlabelled = property(text("section"), nullptr, list({cn(text("Inner"))}));
  const struct {
    Value issuer;
    std::string name;
  } cases[] = {
      {list({unit, cn(text("J\xC3\xB6rg CA")), cn(text("Other"))}), "J\xC3\xB6rg CA"},
      {list({text("2.5.4.3"), unlabelled, cn(text("Behind"))}), "Behind"},
      {list({property(nullptr, integer(1), text("odd")), unit}), ""},
      {list({cn(integer(1)), cn(text("Second"))}), ""},
      {list({}), ""},
      {text("2.5.4.3"), ""},
      {nullptr, ""},
  };
  for (const auto& test : cases) {
    startOver({matching()});
    script().identities[0].values[kIssuer] = test.issuer ? holding(test.issuer) : nullptr;
    EXPECT_EQ(outcome(request()), "selected jane");
    EXPECT_EQ(selection_.getCertificateIssuer(), test.name);
  }
}

TEST_F(CertificateDetailsTest, KeepsTheSerialNumberAsItIsRenderedUpTo99Bytes) {
  const struct {
    Value rendered;
    std::string serial;
  } cases[] = {
      {text("00 FF aB"), "00 FF aB"},
      {text(std::string(99, '7')), std::string(99, '7')},
      {text(std::string(100, '7')), std::string(99, '7')},
      {text(std::string(98, '7') + "\xE2\x82\xAC"), std::string(98, '7')},
      {integer(7), ""},
  };
  for (const auto& test : cases) {
    startOver({matching()});
    script().identities[0].values[kSerial] = holding(test.rendered);
    ASSERT_EQ(outcome(request()), "selected jane");
    EXPECT_EQ(selection_.getCertificateSerial(), test.serial);
  }
}

TEST_F(CertificateDetailsTest, ExpiresAfterItsLastInstant) {
  EXPECT_EQ(selection_.getCertificateExpiry(), "");
  EXPECT_TRUE(selection_.isExpired());
  script().identities = {matching("jane", 1000)};
  outcome(request());
  for (const auto& [now, expired] : {std::pair(999.0, false), {1000.0, false}, {1000.001, true}}) {
    script().now = now;
    EXPECT_EQ(selection_.isExpired(), expired) << now;
  }
  setenv("TZ", "UTC0", 1);
  tzset();
  EXPECT_EQ(selection_.getCertificateExpiry(), "2001-01-01T00:16:40.000Z");
}

}  // namespace
