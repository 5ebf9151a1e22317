#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "reliability/HostileBodies.h"

/** What hostile bodies may cost, measured against harmless ones of the same size in the same run. */
namespace reliability {
namespace {

using namespace e2e;

/** As many times the harmless request's time and memory may a hostile one take; of JSON more, as the C
 * library takes so long for numbers near the ends of the range. */
struct Bounds {
  double time;
  double timeOfJson;
  double memory;
};

#if defined(__SANITIZE_ADDRESS__)
// The limits of the host are what they are, so that bodies that run into one take more in proportion.
constexpr std::size_t kUsualMebibytes = 1;
constexpr Bounds kMost{100, 100, 30};
#else
constexpr std::size_t kUsualMebibytes = 2;
constexpr Bounds kMost{25, 60, 10};
#endif

/** VORN_HOSTILE_MIB=10 sends what a request may hold at most, and takes some minutes. */
std::size_t bodySize() {
  const char* const size = std::getenv("VORN_HOSTILE_MIB");
  const std::size_t mebibytes = size != nullptr ? std::strtoul(size, nullptr, 10) : kUsualMebibytes;
  return (std::min<std::size_t>(mebibytes, 10) << 20) - 1000;
}
const std::size_t kBody = bodySize();

/** What the ticks of the processor's clock and a busy machine make uncertain is not held against a request.
 */
constexpr double kLeastSeconds = 0.2;
/** Entities may expand to so much whatever the size of the body, so that a small one is measured by this. */
constexpr double kLeastMiB = 100;

struct Cost {
  double seconds = 0;
  double peakMiB = 0;
  int code = 0;
};

/** One request to a host of its own, which has to be well afterwards unless the request was none. */
Cost costOf(const Home& home, const std::string& request) {
  HostProcess host(home);
  host.ask(kVersionRequest);
  const double before = host.cpuSeconds();
  const std::string answer = host.ask(request);
  Cost cost{host.cpuSeconds() - before, static_cast<double>(host.peakKiB()) / 1024, errorCode(answer)};
  if (cost.code == 101)
    EXPECT_EQ(host.waitForExit(), 1);
  else
    EXPECT_EQ(text(host.ask(kVersionRequest), "result"), "ok");
  return cost;
}

using Request = std::function<std::string(const std::string& body)>;

void expectBounded(const std::string& keyStore, const Request& request, const std::string& harmlessBody,
                   const std::vector<Hostile>& bodies, std::size_t size, double mostTime = kMost.time) {
  const Home home(keyStore);
  const Cost harmless = costOf(home, request(harmlessBody));
  EXPECT_EQ(harmless.code, 0);
  std::cout << "harmless: " << harmless.seconds << " s, " << harmless.peakMiB << " MiB\n";
  for (const Hostile& hostile : bodies) {
    const Cost cost = costOf(home, request(hostile.make(size)));
    const double time = cost.seconds / std::max(harmless.seconds, kLeastSeconds);
    const double memory = cost.peakMiB / std::max(harmless.peakMiB, kLeastMiB);
    std::cout << hostile.name << ": time x" << time << ", memory x" << memory << ", code " << cost.code
              << "\n";
    EXPECT_LT(time, mostTime) << hostile.name;
    EXPECT_LT(memory, kMost.memory) << hostile.name;
  }
}

void expectDocumentsBounded(const std::vector<Hostile>& bodies) {
  const auto request = [](const std::string& body) { return SignRequest{.documents = {{body}}}.json(); };
  const std::size_t size = kBody / 100 * 72;  // in base64, with its slashes escaped, about the body
  expectBounded("main", request, harmlessXml(size), bodies, size);
}

TEST(HostileBodies, Json) {
  const auto request = [](const std::string& value) { return R"({"type": "version", "x": )" + value + "}"; };
  expectBounded("", request, harmlessJson(kBody), hostileJson(), kBody, kMost.timeOfJson);
}

TEST(HostileBodies, Content) {
  expectDocumentsBounded(hostileContent());
}

TEST(HostileBodies, Entities) {
  expectDocumentsBounded(hostileEntities());
}

TEST(HostileBodies, Declarations) {
  expectDocumentsBounded(hostileDeclarations());
}

TEST(HostileBodies, ManyDocumentsThatGrow) {
  const auto document = [](const std::string& declaration, const std::string& content) {
    return "<!DOCTYPE Agreement [" + declaration + "]>" + agreement(content);
  };
  const std::string wide(1 << 16, 'a');
  const std::pair<std::string, int> cases[] = {
      {document("<!ENTITY a '" + wide + "'>", fill("&a;", 3 * 48)), 103},
      {document("<!ENTITY a '" + wide + "'>", fill("<a b='&a;'/>", 13 * 48)), 103},
      {document("<!ATTLIST a b CDATA '" + wide + "'>", fill("<a/>", 4 * 200)), 100}};
  for (const auto& [growing, code] : cases) {
    Home home("main");
    HostProcess host(home);
    const std::string more = R"("verbose": "ON", )";
    EXPECT_EQ(errorCode(host.ask(SignRequest{.documents = {{growing}}, .more = more}.json())), 0);
    const auto many = SignRequest{.documents = std::vector<Document>(6, {growing}), .more = more};
    EXPECT_EQ(errorCode(host.ask(many.json())), code);
#if !defined(__SANITIZE_ADDRESS__)  // which keeps freed memory for a while
    EXPECT_LT(host.peakKiB(), 400 << 10);
#endif
    EXPECT_LT(std::filesystem::file_size(home.logPath()), 50 << 20);
    EXPECT_EQ(errorCode(host.ask(SignRequest{.documents = {{growing}}}.json())), 0) << "each request anew";
  }
}

TEST(HostileBodies, Base64) {
  const auto request = [](const std::string& data) {
    return R"({"type": "sign", )" + SignRequest{}.userDetails() + R"(, "xml_data": [{"data": ")" + data +
           R"("}]})";
  };
  const auto noDocument = [](std::size_t size) { return toBase64(std::string(size / 400 * 297, '<')); };
  expectBounded(
      "main", request, toBase64(harmlessXml(kBody / 100 * 74)),
      {
          between("padding alone", "", "=", ""),
          {"a foreign character at the end", [&](std::size_t size) { return noDocument(size) + "QUI*"; }},
          {"bytes that are no document", noDocument},
          between("escaped slashes", "", R"(\/\/\/\/)", ""),
      },
      kBody - 1000);
}

TEST(HostileBodies, KeyIdentifiers) {
  const auto details = [](const std::string& akis) {
    return R"({"type": "version", "user_details": {"name": "Max Several", "email": "jane@example.com", )"
           R"("abn": "12345678901", "aki": [)" +
           akis + "\"" + akiOf("main") + "\"]}}";
  };
  const auto reversed = [](std::size_t i) { return "\"" + number(99999999 - i) + "\","; };
  const auto alike = [](std::size_t i) {
    return "\"" + std::string(2000, 'A') + number(i * 7919 % 5003) + "\",";
  };
  expectBounded("main", details, fill("\"" + std::string(40, 'a') + "\",", kBody),
                {
                    numbered("a million others", "", reversed, ""),
                    numbered("alike for long", "", alike, ""),
                    between("one of all", "\"", "A", "\","),
                },
                kBody - 1000);
}

}  // namespace
}  // namespace reliability
