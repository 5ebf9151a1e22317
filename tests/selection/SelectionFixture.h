#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "mac/app/CertificateSelection.h"
#include "selection/ScriptedSecurity.h"
#include "shared/base/Exceptions.h"
#include "shared/json/jsonxx.h"

using namespace vorn;

/** An empty selection and a fresh script; at the end every object must have been given back. */
class SelectionFixture : public testing::Test {
 protected:
  void SetUp() override {
    startOver();
    objectsBefore_ = vorn::frameworks::Object::liveCount();
  }

  void TearDown() override {
    selection_.reset();
    EXPECT_EQ(vorn::frameworks::Object::liveCount(), objectsBefore_);
  }

  /** An empty selection before a key store that holds these identities. */
  void startOver(const std::vector<scripted::Identity>& identities = {}) {
    selection_.reset();
    scripted::script() = {};
    scripted::script().identities = identities;
  }

  static jsonxx::Object request(const std::vector<std::string>& akis = {"0a1b"},
                                const std::string& email = "jane@example.org",
                                const std::string& name = "Jane Citizen",
                                const std::string& abn = "12345678901") {
    jsonxx::Array list;
    for (const std::string& aki : akis) list << aki;
    jsonxx::Object details;
    details << "name" << name << "email" << email << "abn" << abn << "aki" << jsonxx::Value(list);
    return details;
  }

  static scripted::Value entry(const std::string& bytes, const std::string& type = "data") {
    return scripted::property(scripted::text(type), nullptr, scripted::data(bytes));
  }

  /** An identity that `request()` selects. */
  static scripted::Identity matching(const std::string& name = "jane", double notAfter = 1000) {
    using namespace scripted;
    Identity identity;
    identity.name = name;
    const Value flag = property(text("string"), text("Critical"), text("No"));
    const Value issuer = property(nullptr, text("2.5.4.3"), text("Issuer of " + name));
    identity.values = {{kAbn, holding(list({flag, entry("\f\v12345678901")}))},
                       {kAki, holding(list({entry("\x0A\x1B")}))},
                       {kUsage, holding(integer(1))},
                       {kSerial, holding(text("serial of " + name))},
                       {kNotBefore, holding(number(-86400))},
                       {kNotAfter, holding(number(notAfter))},
                       {kIssuer, holding(list({issuer}))}};
    return identity;
  }

  /** The code and message of what selecting throws, or whose certificate is selected after it. */
  std::string outcome(const jsonxx::Object& details) {
    try {
      selection_.initialise(details);
      return "selected " + scripted::nameOf(selection_.getCertificate());
    } catch (const BaseException& failure) {
      return std::to_string(failure.code()) + " " + failure.message();
    }
  }

  static inline const std::string kAbn = "1.2.36.1.333.1";
  static inline const std::string kAki = "2.5.29.35";
  static inline const std::string kUsage = "2.5.29.15";
  static inline const std::string kSerial = "2.16.840.1.113741.2.1.1.1.3";
  static inline const std::string kIssuer = "2.16.840.1.113741.2.1.1.1.5";
  static inline const std::string kNotBefore = "2.16.840.1.113741.2.1.1.1.6";
  static inline const std::string kNotAfter = "2.16.840.1.113741.2.1.1.1.7";

  CertificateSelection& selection_ = CertificateSelection::getInstance();
  std::size_t objectsBefore_ = 0;
};
