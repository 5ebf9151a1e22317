#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>

#include "selection/SelectionFixture.h"

using namespace scripted;

namespace {

constexpr char kNotFound[] = "102 Certificate not found";
constexpr char kNobodyLeft[] = "INFO No (more) matching certificates in Keychain";

using CertificateSelectionTest = SelectionFixture;

TEST_F(CertificateSelectionTest, LogsEveryStepOfASearch) {
  setenv("TZ", "XYZ-10", 1);
  tzset();
  script().identities = {matching("first", 2000), matching("second", 1000)};
  script().identities[0].emails = {text("other@example.org"), text("JANE@Example.org")};
  ASSERT_EQ(outcome(request({"FFFF", "0A1b"})), "selected first");
  std::vector<std::string> expected = {
      "DEBUG Request name = Jane Citizen", "DEBUG Request email = jane@example.org",
      "DEBUG Request ABN = 12345678901", "DEBUG Request AKI list = FFFF, 0A1b",
      "INFO Finding signing certificate in system certificate store"};
  const auto expectIdentity = [&](const std::string& number, const std::vector<std::string>& addresses,
                                  const std::string& serial, const std::string& notAfter) {
    for (const char* part : {"certificate", "private key"}) {
      expected.push_back("INFO Identity #" + number + " has " + part);
    }
    for (const std::string& address : addresses) expected.push_back("DEBUG Certificate email = " + address);
    expected.insert(
        expected.end(),
        {"DEBUG Certificate email matches request email", "DEBUG Certificate ABN = 12345678901",
         "DEBUG Certificate ABN matches request ABN", "DEBUG Certificate AKI = 0a1b",
         "DEBUG Certificate AKI matches request AKI", "DEBUG Key usage includes Digital Signature = true",
         "INFO Found matching certificate", "DEBUG Certificate serial number = " + serial,
         "DEBUG Certificate not valid before date = 2000-12-31T10:00:00.000Z",
         "DEBUG Certificate not valid after date = " + notAfter});
  };
  expectIdentity("0", {"other@example.org", "JANE@Example.org"}, "serial of first",
                 "2001-01-01T10:33:20.000Z");
  expectIdentity("1", {"jane@example.org"}, "serial of second", "2001-01-01T10:16:40.000Z");
  // The serial number of the last one that passed, not of the winner.
  expected.insert(expected.end(),
                  {kNobodyLeft, "DEBUG Selected certificate serial number = serial of second"});
  EXPECT_EQ(log_->lines, expected);
}

TEST_F(CertificateSelectionTest, AsksForIdentitiesOfTheNameThatSignAndForSevenValues) {
  script().identities = {matching()};
  outcome(request({"0a1b"}, "jane@example.org", "J\xC3\xB6rg"));
  const std::vector<std::string> query = {"class=idnt", "sign=true", "m_SubjectWholeString=J\xC3\xB6rg",
                                          "m_Limit=m_LimitAll", "r_Ref=true"};
  EXPECT_EQ(script().query, query);
  EXPECT_TRUE(script().queryComparesAddresses);
  const std::vector<std::string> values = {kAbn, kAki, kSerial, kNotBefore, kNotAfter, kUsage, kIssuer};
  EXPECT_EQ(script().requestedValues, values);
}

TEST_F(CertificateSelectionTest, ReportsAFailedSearchAndKeepsTheSelection) {
  const std::string failure =
      "An error has occurred finding identities with matching name in Keychain. System error code = ";
  const struct {
    OSStatus status;
    const char* name;
    std::string outcome;
    std::string log;
  } cases[] = {
      {errSecItemNotFound, "Nobody", kNotFound, "INFO No certificate found with matching name"},
      {errSecSuccess, "not UTF-8 \xFF", kNotFound, "INFO No certificate found with matching name"},
      {errSecParam, "Nobody", "100 " + failure + "-50", "ERROR " + failure + "-50"},
  };
  for (const bool selectedBefore : {false, true}) {
    for (const auto& test : cases) {
      SCOPED_TRACE(test.outcome);
      startOver({matching()});
      if (selectedBefore) {
        ASSERT_EQ(outcome(request()), "selected jane");
      }
      script().searchStatus = test.status;
      script().searchFailsWithResult = true;
      log_->lines.clear();
      EXPECT_EQ(outcome(request({"0a1b"}, "jane@example.org", test.name)), test.outcome);
      EXPECT_EQ(log_->lines.back(), test.log);
      EXPECT_EQ(selection_.getCertificateSerial(), selectedBefore ? "serial of jane" : "");
      EXPECT_EQ(nameOf(selection_.getPrivateKey()), selectedBefore ? "jane" : "");
      script().searchStatus = errSecSuccess;
      script().searches = 0;
      outcome(request());
      EXPECT_EQ(script().searches, selectedBefore ? 0 : 1);
    }
  }
}

using Change = std::function<void(Identity&)>;

Change value(const std::string& oid, const Value& made) {
  return [=](Identity& identity) { identity.values[oid] = holding(made); };
}
Change whole(const std::string& oid, const Value& property) {
  return [=](Identity& identity) { identity.values[oid] = property; };
}
Change emails(const std::vector<Value>& addresses) {
  return [=](Identity& identity) { identity.emails = addresses; };
}

TEST_F(CertificateSelectionTest, TestsEveryCriterion) {
  const auto abnOf = [&](const std::string& content, const std::string& type = "data") {
    return value(kAbn, list({entry("\f\v" + content, type)}));
  };
  const std::string abnTrue = "DEBUG Certificate ABN matches request ABN";
  const std::string usageTrue = "DEBUG Key usage includes Digital Signature = true";
  const std::string usageFalse = "DEBUG Key usage includes Digital Signature = false";
  const struct {
    const char* what;
    Change change;
    bool matches;
    std::string log;
  } cases[] = {
      {"no certificate", [](Identity& i) { i.certificateStatus = errSecParam; }, false,
       "INFO Identity #0 does not have a certificate"},
      {"no key", [](Identity& i) { i.keyStatus = errSecInvalidItemRef; }, false,
       "INFO Identity #0 does not have a private key"},
      {"no values", [](Identity& i) { i.hasValues = false; }, false,
       "INFO Failed to get certificate values for identity #0"},

      {"addresses fail", [](Identity& i) { i.emailStatus = errSecParam; }, false,
       "WARN An error has occurred getting certificate email. System error code = -50"},
      {"no address", emails({}), false, "INFO Certificate does not contain email field"},
      {"other address", emails({text("jane@example.com")}), false,
       "DEBUG Certificate email = jane@example.com"},
      {"second address", emails({text(""), text("Jane@Example.Org")}), true, "DEBUG Certificate email = "},
      {"address too long", emails({text(std::string(500, 'a'))}), false, "DEBUG Certificate email = "},
      {"more behind a zero byte", emails({text(std::string("jane@example.org\0\xC3\xA9", 19))}), false,
       kNobodyLeft},
      {"no text for an address", emails({integer(1), data("jane@example.org")}), false, kNobodyLeft},

      {"other ABN", abnOf("12345678902"), false, "DEBUG Certificate ABN = 12345678902"},
      {"longer ABN", abnOf("123456789012"), false, "DEBUG Certificate ABN = 123456789012"},
      {"type in capitals", abnOf("12345678901", "DATA"), true, abnTrue},
      {"other type", abnOf("12345678901", "string"), false, kNobodyLeft},
      {"second ABN", value(kAbn, list({entry("\f\0011"), entry("\f\v12345678901")})), true,
       "DEBUG Certificate ABN = 1"},
      {"up to a zero byte", abnOf(std::string("12345678901\0x", 13)), true,
       "DEBUG Certificate ABN = 12345678901"},
      {"nineteen bytes", abnOf(std::string("12345678901\0xxxxxxx", 19)), true, abnTrue},
      {"twenty bytes", abnOf(std::string("12345678901\0xxxxxxxx", 20)), false, "DEBUG Certificate ABN = "},
      {"ABN that is no UTF-8", abnOf("12345678901\xFF"), false, "DEBUG Certificate ABN = "},
      {"ABN of one byte", value(kAbn, list({entry("\x0C")})), false, "DEBUG Certificate ABN = "},
      {"ABN of no byte", value(kAbn, list({entry("")})), false, "DEBUG Certificate ABN = "},
      {"no ABN", whole(kAbn, nullptr), false, kNobodyLeft},
      {"ABN without a value", whole(kAbn, property(text("section"), nullptr, nullptr)), false, kNobodyLeft},
      {"ABN no property", whole(kAbn, text("12345678901")), false, kNobodyLeft},
      {"ABN no array", value(kAbn, data("\f\v12345678901")), false, kNobodyLeft},
      {"ABN of other things",
       value(kAbn,
             list({text("data"), holding(data("xx12345678901")),
                   property(integer(1), nullptr, data("xx12345678901")),
                   property(text("data"), nullptr, nullptr), property(text("data"), nullptr, integer(1))})),
       false, kNobodyLeft},

      {"no AKI", whole(kAki, nullptr), false, kNobodyLeft},
      {"AKI no array", value(kAki, data("\x0A\x1B")), false, kNobodyLeft},
      {"other AKI", value(kAki, list({entry("\x0A\x1B\x2C")})), false, "DEBUG Certificate AKI = 0a1b2c"},
      {"second AKI, first of another type",
       value(kAki, list({entry("\x0A\x1B", "string"), entry("\xFF"), entry("\x0A\x1B", "Data")})), true,
       "DEBUG Certificate AKI = ff"},

      {"no key usage", whole(kUsage, nullptr), false, usageFalse},
      {"key usage no number", value(kUsage, text("1")), false, usageFalse},
      {"key usage 0", value(kUsage, integer(0)), false, usageFalse},
      {"all but signing", value(kUsage, integer(0x1FE)), false, usageTrue},
      {"critical, not signing", value(kUsage, integer(INT32_MIN | 2)), false, usageTrue},
      {"critical, signing", value(kUsage, integer(INT32_MIN | 1)), true, usageTrue},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    startOver({matching()});
    test.change(script().identities[0]);
    EXPECT_EQ(outcome(request()), test.matches ? "selected jane" : kNotFound);
    EXPECT_TRUE(logged(test.log));
    if (!test.matches) {
      EXPECT_EQ(log_->lines.back(), "INFO No valid certificate found");
    }
  }
}

TEST_F(CertificateSelectionTest, ComparesTheRequestAsItIsWritten) {
  const struct {
    jsonxx::Object details;
    bool matches;
  } cases[] = {
      {request({"FF", "0A1B"}), true},
      {request({"0a1b"}, "JANE@EXAMPLE.ORG"), true},
      {request({"0a:1b", "0a 1b", "0a1b "}), false},
      {request({}), false},
      {request({"0a1b"}, "jane@example.org "), false},
      {request({"0a1b"}, "jane@example.org", "Jane Citizen", "12345678901 "), false},
      {request({"0a1b"}, "jane@example.org", "Jane Citizen", std::string("12345678901\0", 12)), false},
      {request({"0a1b"}, "jane@example.org", "Jane Citizen", ""), false},
  };
  script().identities = {matching()};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.details.json());
    selection_.reset();
    EXPECT_EQ(outcome(test.details), test.matches ? "selected jane" : kNotFound);
  }
}

TEST_F(CertificateSelectionTest, ChoosesTheLatestExpiryAndTheFirstOfEquals) {
  const struct {
    std::vector<double> notAfter;
    const char* winner;
  } cases[] = {
      {{100, 300, 200}, "1"},     {{300, 300}, "0"}, {{100, 300, 300}, "1"},
      {{1}, "0"} /* long past */, {{0}, nullptr},    {{-5, 0}, nullptr},
  };
  for (const auto& test : cases) {
    startOver();
    script().now = 1e9;
    for (const double notAfter : test.notAfter) {
      script().identities.push_back(matching(std::to_string(script().identities.size()), notAfter));
    }
    const std::string winner = test.winner != nullptr ? test.winner : "";
    EXPECT_EQ(outcome(request()), test.winner != nullptr ? "selected " + winner : kNotFound);
    EXPECT_EQ(nameOf(selection_.getPrivateKey()), winner);
    EXPECT_EQ(selection_.getEncodedCertificate(), winner.empty() ? "" : "encode(" + winner + ")");
    EXPECT_EQ(selection_.getCertificateSerial(), winner.empty() ? "" : "serial of " + winner);
    EXPECT_EQ(selection_.getCertificateIssuer(), winner.empty() ? "" : "Issuer of " + winner);
    EXPECT_TRUE(selection_.isExpired());
  }
}

TEST_F(CertificateSelectionTest, SearchesAgainOnlyForOtherCriteria) {
  const struct {
    jsonxx::Object first;
    jsonxx::Object second;
    bool reused;
  } cases[] = {
      {request({"0a1b", "ff", "ff"}), request({"FF", "0A1B", "fF"}), true},
      {request({"0a1b", "ff", "ff"}), request({"0a1b", "0a1b", "ff"}), false},
      {request({"0a1b", "ff"}), request({"0a1b"}), false},
      {request({"0a1b"}, "Jane@example.org"), request({"0a1b"}, "Jane@example.org"), false},
      {request({"0a1b"}, "Jane@example.org"), request({"0a1b"}, "jane@example.org"), true},
      {request(), request({"0a1b"}, "jane@example.org", "jane Citizen"), false},
      {request(), request({"0a1b"}, "jane@example.org", "Jane Citizen", "1"), false},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.first.json() + test.second.json());
    startOver({matching()});
    ASSERT_EQ(outcome(test.first), "selected jane");
    log_->lines.clear();
    EXPECT_EQ(outcome(test.second), "selected jane");
    EXPECT_EQ(script().searches, test.reused ? 1 : 2);
    EXPECT_EQ(logged("INFO Using existing signing certificate"), test.reused);
  }
}

TEST_F(CertificateSelectionTest, TakesEmptyCriteriaForTheEmptySelection) {
  EXPECT_EQ(outcome(request({}, "", "", "")), "selected ");
  EXPECT_EQ(script().searches, 0);
  EXPECT_EQ(selection_.getCertificateExpiry(), "");
  EXPECT_TRUE(selection_.isExpired());
}

TEST_F(CertificateSelectionTest, KeepsTheEarlierCertificateAsExpiredWhenNobodyWins) {
  script().identities = {matching()};
  ASSERT_EQ(outcome(request()), "selected jane");
  ASSERT_FALSE(selection_.isExpired());
  const jsonxx::Object other = request({"0a1b"}, "someone@example.org");
  script().identities.push_back(matching("joe"));
  log_->lines.clear();
  EXPECT_EQ(outcome(other), "selected jane");
  EXPECT_EQ(log_->lines.back(), "DEBUG Selected certificate serial number = ");
  EXPECT_FALSE(logged("INFO No valid certificate found"));
  script().now = 1;
  EXPECT_TRUE(selection_.isExpired());
  EXPECT_EQ(nameOf(selection_.getPrivateKey()), "jane");
  EXPECT_EQ(selection_.getEncodedCertificate() + selection_.getCertificateIssuer() +
                selection_.getCertificateSerial(),
            "");
  EXPECT_EQ(selection_.getCertificateExpiry().substr(0, 4), "2001");

  script().searches = 0;
  EXPECT_EQ(outcome(other), "selected jane");
  EXPECT_EQ(script().searches, 0) << "the criteria that found nobody are the selection's now";
  EXPECT_EQ(outcome(request()), "selected jane");
  EXPECT_EQ(script().searches, 1);
  EXPECT_FALSE(selection_.isExpired());
}

TEST_F(CertificateSelectionTest, TakesWhatIsNoArrayOfIdentitiesForNone) {
  for (const Value& result : {list({}), list({text("nobody"), integer(1)}), text("nobody")}) {
    script().searchResult = result;
    EXPECT_EQ(outcome(request()), kNotFound);
    EXPECT_TRUE(logged(kNobodyLeft));
  }
}

}  // namespace
