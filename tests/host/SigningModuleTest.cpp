#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/TestPlatform.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Signing.h"

using namespace vorn;

namespace {

struct Caught {
  const std::type_info* type;
  std::uint32_t code;
  std::string message;
  std::string reason = "";
};

template <typename Call>
Caught caughtFrom(Call call) {
  try {
    call();
  } catch (const BaseException& failure) {
    EXPECT_EQ(failure.what(), failure.message());
    return {&typeid(failure), failure.code(), failure.message(), failure.reason()};
  } catch (const std::bad_alloc& failure) {
    return {&typeid(failure), 1, ""};
  } catch (const std::runtime_error& failure) {
    return {&typeid(failure), 2, failure.what()};
  }
  return {&typeid(void), 0, ""};
}

void fail(int how) {
  jsonxx::Object response;
  signing::selectCertificate(jsonxx::Object("how", how), response);
}

void useModulesOf(const std::string& folder) {
  testPlatform().installed = VORN_MODULES "/" + folder + "/vorn-signing";
}

TEST(SigningModule, HandsOverWhatWasThrownBehindIt) {
  useModulesOf("nowhere");
  EXPECT_THROW(fail(0), TechnicalException);
  useModulesOf("foreign");
  const Caught refused = caughtFrom([] { fail(0); });
  EXPECT_EQ(refused.code, 100U);
  EXPECT_EQ(refused.reason, "restart");
  EXPECT_NE(refused.message.find("is of another build: one of yesterday"), std::string::npos);

  useModulesOf("throwing");
  const std::pair<int, Caught> cases[] = {
      {100, {&typeid(BaseException), 100, "one", "internal"}},
      {101, {&typeid(InvalidArgumentException), 101, "two", "request-invalid"}},
      {102, {&typeid(BaseException), 102, "Certificate not found", "not-found"}},
      {103, {&typeid(BaseException), 103, "four", "document-malformed"}},
      {104, {&typeid(BaseException), 104, "five", "document-invalid"}},
      {105, {&typeid(BaseException), 105, "six", "card-out"}},
      {107, {&typeid(BaseException), 107, "Certificate expired", "expired"}},
      {108, {&typeid(BaseException), 108, "nine", "algorithm-unknown"}},
      {1, {&typeid(std::bad_alloc), 1, ""}},
      {2, {&typeid(std::runtime_error), 2, "stray"}},
      {3, {&typeid(std::runtime_error), 2, "Unknown failure"}},
      {0, {&typeid(void), 0, ""}},
  };
  for (const auto& [how, expected] : cases) {
    const Caught caught = caughtFrom([how = how] { fail(how); });
    EXPECT_EQ(*caught.type, *expected.type) << how;
    EXPECT_EQ(caught.code, expected.code) << how;
    EXPECT_EQ(caught.message, expected.message) << how;
    EXPECT_EQ(caught.reason, expected.reason) << how;
  }
  jsonxx::Object response;
  const Caught other =
      caughtFrom([&] { signing::signDocuments({}, SignatureAlgorithm::RSA_SHA1, response); });
  EXPECT_EQ(other.message, "of the other function");
  jsonxx::Object kept;
  EXPECT_THROW(signing::selectCertificate(jsonxx::Object("how", 107), kept), BaseException);
  EXPECT_EQ(kept.get<jsonxx::String>("cert_serial"), "7") << "what was appended before the failure stays";
}

}  // namespace
