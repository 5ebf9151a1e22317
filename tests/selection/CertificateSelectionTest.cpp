#include <cstdint>
#include <functional>

#include "selection/SelectionFixture.h"

using namespace vorn;

using namespace scripted;

namespace {

constexpr char kNotFound[] = "102 Certificate not found";

using CertificateSelectionTest = SelectionFixture;

TEST_F(CertificateSelectionTest, ReportsAFailedSearchAndKeepsTheSelection) {
  const struct {
    OSStatus status;
    const char* name;
    const char* outcome;
  } cases[] = {
      {errSecItemNotFound, "Nobody", kNotFound},
      {errSecSuccess, "not UTF-8 \xFF", kNotFound},
      {errSecParam, "Nobody",
       "100 An error has occurred finding identities with matching name in Keychain. System error code = "
       "-50"},
  };
  for (const auto& test : cases) {
    startOver({matching()});
    ASSERT_EQ(outcome(request()), "selected jane");
    script().searchStatus = test.status;
    EXPECT_EQ(outcome(request({"0a1b"}, "jane@example.org", test.name)), test.outcome);
    EXPECT_EQ(selection_.getCertificateSerial(), "serial of jane");
    EXPECT_EQ(nameOf(selection_.getPrivateKey()), "jane");
    script() = {};
    EXPECT_EQ(outcome(request()), "selected jane");
    EXPECT_EQ(script().searches, 0);
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
  const struct {
    const char* what;
    Change change;
    bool matches;
  } cases[] = {
      {"no certificate", [](Identity& i) { i.certificateStatus = errSecParam; }, false},
      {"no key", [](Identity& i) { i.keyStatus = errSecInvalidItemRef; }, false},
      {"no values", [](Identity& i) { i.hasValues = false; }, false},

      {"addresses fail", [](Identity& i) { i.emailStatus = errSecParam; }, false},
      {"no address", emails({}), false},
      {"other address", emails({text("jane@example.com")}), false},
      {"second address", emails({text(""), text("Jane@Example.Org")}), true},
      {"address too long", emails({text(std::string(500, 'a'))}), false},
      {"more behind a zero byte", emails({text(std::string("jane@example.org\0\xC3\xA9", 19))}), false},
      {"no text for an address", emails({integer(1), data("jane@example.org")}), false},

      {"other ABN", abnOf("12345678902"), false},
      {"longer ABN", abnOf("123456789012"), false},
      {"type in capitals", abnOf("12345678901", "DATA"), true},
      {"other type", abnOf("12345678901", "string"), false},
      {"second ABN", value(kAbn, list({entry("\f\0011"), entry("\f\v12345678901")})), true},
      {"up to a zero byte", abnOf(std::string("12345678901\0x", 13)), true},
      {"nineteen bytes", abnOf(std::string("12345678901\0xxxxxxx", 19)), true},
      {"twenty bytes", abnOf(std::string("12345678901\0xxxxxxxx", 20)), false},
      {"ABN that is no UTF-8", abnOf("12345678901\xFF"), false},
      {"ABN of one byte", value(kAbn, list({entry("\x0C")})), false},
      {"ABN of no byte", value(kAbn, list({entry("")})), false},
      {"no ABN", whole(kAbn, nullptr), false},
      {"ABN without a value", whole(kAbn, property(text("section"), nullptr, nullptr)), false},
      {"ABN no property", whole(kAbn, text("12345678901")), false},
      {"ABN no array", value(kAbn, data("\f\v12345678901")), false},
      {"ABN of other things",
       value(kAbn,
             list({text("data"), holding(data("xx12345678901")),
                   property(integer(1), nullptr, data("xx12345678901")),
                   property(text("data"), nullptr, nullptr), property(text("data"), nullptr, integer(1))})),
       false},

      {"no AKI", whole(kAki, nullptr), false},
      {"AKI no array", value(kAki, data("\x0A\x1B")), false},
      {"other AKI", value(kAki, list({entry("\x0A\x1B\x2C")})), false},
      {"second AKI, first of another type",
       value(kAki, list({entry("\x0A\x1B", "string"), entry("\xFF"), entry("\x0A\x1B", "Data")})), true},

      {"no key usage", whole(kUsage, nullptr), false},
      {"key usage no number", value(kUsage, text("1")), false},
      {"key usage 0", value(kUsage, integer(0)), false},
      {"all but signing", value(kUsage, integer(0x1FE)), false},
      {"critical, not signing", value(kUsage, integer(INT32_MIN | 2)), false},
      {"critical, signing", value(kUsage, integer(INT32_MIN | 1)), true},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    startOver({matching()});
    test.change(script().identities[0]);
    EXPECT_EQ(outcome(request()), test.matches ? "selected jane" : kNotFound);
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
    for (const double notAfter : test.notAfter)
      script().identities.push_back(matching(std::to_string(script().identities.size()), notAfter));
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
    EXPECT_EQ(outcome(test.second), "selected jane");
    EXPECT_EQ(script().searches, test.reused ? 1 : 2);
  }
}

}  // namespace
