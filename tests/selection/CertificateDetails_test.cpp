#include "mac/app/CertificateDetails.h"

#include <cstdlib>
#include <ctime>

#include "selection/SelectionFixture.h"

using namespace scripted;

namespace {

using CertificateDetailsTest = SelectionFixture;

TEST_F(CertificateDetailsTest, EndsTheRequestWhenTheEncoderReportsAnError) {
  const std::string failure =
      "100 CertificateSelection -  Failed to Base64 encode data. System error code = ";
  std::vector<std::string> steps;
  for (const auto& [step, record] : {std::pair("encode create", "encode create base64"),
                                     {"encode INPUT", "encode INPUT=<second>"},
                                     {"encode execute", "encode execute"}}) {
    steps.emplace_back(record);
    for (const bool givesResult : {false, true}) {
      SCOPED_TRACE(step);
      startOver({matching("first")});
      ASSERT_EQ(outcome(request()), "selected first");
      script() = {};
      script().identities = {matching("second")};
      script().errors = {{step, -25300}};
      script().errorText = std::string(498, 'e') + "\xC3\xA9 and more";
      if (!givesResult) script().empty = {step};
      EXPECT_EQ(outcome(request({"0A1B", "FF"})), failure + "-25300");
      EXPECT_EQ(log_->lines.back(), "ERROR " + std::string(498, 'e')) << "in whole characters";
      EXPECT_EQ(script().steps, steps);

      EXPECT_EQ(nameOf(selection_.getCertificate()), "first");
      EXPECT_EQ(selection_.getCertificateSerial(), "");
      EXPECT_EQ(outcome(request()), "selected first") << "the old criteria still hold";
      EXPECT_EQ(script().searches, 1);
    }
  }
}

TEST_F(CertificateDetailsTest, KeepsAnEarlierWinnerOfTheSameSearchWhenTheEncoderFails) {
  Identity failing = matching("failing", 2000);
  script().identities = {matching("winner", 1000), failing};
  script().errors = {{"encode INPUT=<failing>", 5}};
  EXPECT_EQ(outcome(request()),
            "100 CertificateSelection -  Failed to Base64 encode data. System error code = 5");
  EXPECT_EQ(nameOf(selection_.getPrivateKey()), "winner");
  EXPECT_EQ(selection_.getCertificateSerial(), "serial of winner");
  script().errors.clear();
  script().searches = 0;
  EXPECT_EQ(outcome(request()), "selected failing");
  EXPECT_EQ(script().searches, 1);
}

TEST_F(CertificateDetailsTest, PassesOverACertificateWithoutBase64Text) {
  const std::string noData = "ERROR Failed to obtain certificate data";
  const std::string noText = "ERROR Failed to Base64 encode certificate data";
  const struct {
    bool hasData;
    const char* empty;
    const char* encoded;
    std::string log;
  } cases[] = {
      {false, "", "", noData},
      {true, "encode create", "", noText},
      {true, "encode INPUT", "", noText},
      {true, "encode execute", "", noText},
      {true, "", "\xFF", ""},
  };
  for (const auto& test : cases) {
    startOver({matching("other", 500), matching("jane", 1000)});
    script().identities[1].hasData = test.hasData;
    script().empty = {test.empty};
    script().encoded = test.encoded;
    const bool otherIsFine = !test.hasData;
    EXPECT_EQ(outcome(request()), otherIsFine ? "selected other" : "102 Certificate not found");
    EXPECT_EQ(selection_.getCertificateSerial(), otherIsFine ? "serial of other" : "");
    EXPECT_TRUE(test.log.empty() || logged(test.log));
  }
}

TEST_F(CertificateDetailsTest, FindsTheFirstCommonNameOfTheIssuer) {
  const auto cn = [](const Value& name) { return property(text("string"), text("2.5.4.3"), name); };
  const Value unit = property(text("string"), text("2.5.4.11"), text("Unit"));
  const Value unlabelled = property(text("section"), nullptr, list({cn(text("Inner"))}));
  const std::string missing = "ERROR Failed to extract issuer name from certificate";
  const struct {
    Value issuer;
    std::string name;
    bool logs;
  } cases[] = {
      {list({unit, cn(text("J\xC3\xB6rg CA")), cn(text("Other"))}), "J\xC3\xB6rg CA", false},
      {list({text("2.5.4.3"), unlabelled, cn(text("Behind"))}), "Behind", false},
      {list({property(nullptr, integer(1), text("odd")), unit}), "", false},
      {list({cn(integer(1)), cn(text("Second"))}), "", false},
      {list({}), "", false},
      {text("2.5.4.3"), "", true},
      {nullptr, "", true},
  };
  for (const auto& test : cases) {
    startOver({matching()});
    script().identities[0].values[kIssuer] = test.issuer ? holding(test.issuer) : nullptr;
    EXPECT_EQ(outcome(request()), "selected jane");
    EXPECT_EQ(selection_.getCertificateIssuer(), test.name);
    EXPECT_EQ(logged(missing), test.logs);
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
    EXPECT_EQ(log_->lines.back(), "DEBUG Selected certificate serial number = " + test.serial);
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
