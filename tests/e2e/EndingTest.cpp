#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <regex>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

/** Hostile and broken input, each with the ending that it has to find. */
namespace e2e {
namespace {

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  while (count-- > 0) result += text;
  return result;
}

/** Signs one document for Jane; the host is expected to live on whatever comes of it. */
std::string answerTo(HostProcess& host, const std::string& document) {
  std::string answer = host.ask(SignRequest{.documents = {{document}}}.json());
  EXPECT_EQ(text(host.ask(kVersionRequest), "result"), "ok");
  return answer;
}

TEST(Endings, AnswerIsWellFormedWhateverTheRequestHeld) {
  Home home;
  HostProcess host(home);
  // Bytes 200 and 195 begin a character that does not go on; 195 160 is one that does.
  const SignRequest request{.algorithm = R"(a\u0200b\u0195\u0195\u0160c)", .documents = {{""}}};
  EXPECT_EQ(host.ask(request.json()), errorBody(108,
                                                "Unrecognised signature algorithm: a\xef\xbf\xbd"
                                                "b\xef\xbf\xbd\xc3\xa0"
                                                "c"));
  const SignRequest zero{.algorithm = R"(a\u0000b)", .documents = {{""}}};
  EXPECT_NE(host.ask(zero.json()).find(R"(algorithm: a\u0000b")"), std::string::npos);
}

TEST(Endings, NestingOfAnyDepthIsRead) {
  for (const auto& [open, close] : {std::pair{"[", "]"}, std::pair{R"({"a":)", "}"}}) {
    Home home;
    HostProcess host(home);
#if defined(__SANITIZE_ADDRESS__)
    constexpr std::size_t kSize = 2000000;  // a frame is several times as large there
#else
    constexpr std::size_t kSize = 10000000;
#endif
    const std::size_t depth = kSize / (std::string(open).size() + 1);
    const std::string nested = repeated(open, depth) + "1" + repeated(close, depth);
    EXPECT_EQ(text(host.ask(R"({"type": "version", "x": )" + nested + "}"), "result"), "ok");
    host.send(R"({"x": )" + nested.substr(0, nested.size() / 2));
    EXPECT_EQ(host.read(), errorBody(101, "Failed to parse request message"));
    EXPECT_EQ(host.waitForExit(), 1);
  }
}

TEST(Endings, TextThatIsNotBase64IsRefused) {
  Home home("main");
  HostProcess host(home);
  const std::string good = toBase64(agreement());
  for (const std::string& data : {std::string(), std::string("===="), good.substr(0, good.size() - 1),
                                  good + "=", good.substr(0, 8) + "*" + good.substr(9),
                                  good.substr(0, 8) + "\\n" + good.substr(8), std::string("PGE-")}) {
    const std::string answer = host.ask(R"({"type": "sign", )" + SignRequest{}.userDetails() +
                                        R"(, "xml_data": [{"data": ")" + data + R"("}]})");
    EXPECT_EQ(errorCode(answer), 103) << data;
    EXPECT_TRUE(texts(answer, "data").empty());
  }
}

TEST(Endings, MalformedDocumentsAreRefusedWithThePlace) {
  Home home("main");
  HostProcess host(home);
  const std::string good = agreement();
  for (const std::string& document :
       {std::string("plain"), good.substr(0, good.size() - 3), good + "text", good + good, good + "<!-- ",
        "\n\n" + agreement("<a></b>"), agreement("&missing;"), agreement("a & b"),
        agreement("<a x='1' x='2'/>"), agreement("\x01"), agreement("\xff"),
        "<?xml version='1.0' encoding='none'?>" + good}) {
    const std::string answer = answerTo(host, document);
    EXPECT_EQ(errorCode(answer), 103) << document;
    EXPECT_TRUE(std::regex_search(text(answer, "error_message"), std::regex("\\d+\\D+\\d+"))) << answer;
    EXPECT_TRUE(texts(answer, "data").empty());
    EXPECT_EQ(text(answer, "cert_issuer"), "Test Authority");
  }
}

/** A port of this machine that notices who calls. */
class Listener {
 public:
  Listener() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(socket_, 8) != 0 ||
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      throw std::runtime_error("no port to listen on");
    }
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x";
  }
  ~Listener() { close(socket_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const std::string& url() const { return url_; }
  bool wasCalled() const {
    pollfd descriptor{socket_, POLLIN, 0};
    return poll(&descriptor, 1, 0) != 0;
  }

 private:
  int socket_;
  std::string url_;
};

TEST(Endings, NothingIsLoadedFromElsewhere) {
  Home home("main");
  HostProcess host(home);
  const Listener network;
  const std::filesystem::path file = home.path() / "secret.txt";
  writeFile(file, "swordfish");
  for (const std::string& place : {network.url(), "file://" + file.string(), file.string()}) {
    const std::string entity = "<!DOCTYPE Agreement [<!ENTITY e SYSTEM '" + place + "'>";
    const std::string schema =
        "<A xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:noNamespaceSchemaLocation='";
    for (const auto& [document, code] : {
             std::pair{entity + "]>" + agreement("&e;"), 103},
             {entity + "]>" + agreement(), 0},
             {"<!DOCTYPE Agreement [<!ENTITY % p SYSTEM '" + place + "'> %p;]>" + agreement("&e;"), 103},
             {"<!DOCTYPE Agreement SYSTEM '" + place + "'>" + agreement("&e;"), 103},
             {schema + place + "'>" + agreement() + "</A>", 0},
         }) {
      const std::string answer = answerTo(host, document);
      EXPECT_EQ(errorCode(answer), code) << document << answer;
      EXPECT_EQ(answer.find("swordfish"), std::string::npos);
      for (const std::string& data : texts(answer, "data")) {
        EXPECT_EQ(fromBase64(data).find("swordfish"), std::string::npos);
      }
    }
  }
  EXPECT_FALSE(network.wasCalled());
}

TEST(Endings, EntityBombsAreDefused) {
  Home home("main");
  HostProcess host(home);
  std::string laughs = "<!DOCTYPE Agreement [<!ENTITY l0 'ha'>";
  for (int i = 1; i <= 12; ++i) {
    laughs +=
        "<!ENTITY l" + std::to_string(i) + " '" + repeated("&l" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  const std::string blowUp = "<!DOCTYPE Agreement [<!ENTITY b '" + std::string(100000, 'x') + "'>]>";
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& document :
       {laughs + "]>" + agreement("&l12;"), blowUp + agreement(repeated("&b;", 60000)),
        "<!DOCTYPE Agreement [<!ENTITY a '&b;'><!ENTITY b '&a;'>]>" + agreement("&a;")}) {
    EXPECT_EQ(errorCode(answerTo(host, document)), 103);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_LT(host.residentKiB(), 1500000);
}

TEST(Endings, ElementOutOfAnEntityCannotBeSigned) {
  Home home("main");
  HostProcess host(home);
  const std::string answer =
      answerTo(host, "<!DOCTYPE D [<!ENTITY e '<RenderedData/>'>]><D><CounterpartData/>&e;</D>");
  EXPECT_EQ(errorCode(answer), 105);
  EXPECT_TRUE(texts(answer, "data").empty());
}

TEST(Endings, ElementsMayNestAThousandDeep) {
  Home home("main");
  HostProcess host(home);
  const auto nested = [](std::size_t depth) {  // the root and CounterpartData are two of them
    return agreement(repeated("<a>", depth - 2) + repeated("</a>", depth - 2));
  };
  EXPECT_EQ(errorCode(answerTo(host, nested(1000))), 0);
  for (const std::size_t depth : {std::size_t{1001}, std::size_t{500000}}) {
    const std::string answer = answerTo(host, nested(depth));
    EXPECT_EQ(errorCode(answer), 104);
    EXPECT_EQ(text(answer, "error_message"), "Request XML data is invalid. Elements are nested too deeply");
  }
}

TEST(Endings, LockedKeyStoreRefusesToSign) {
  Home home("locked");
  HostProcess host(home);
  const SignRequest request{.aki = akiOf("locked"), .documents = {{agreement()}}};
  for (int i = 0; i < 2; ++i) {
    const std::string answer = host.ask(request.json());
    EXPECT_EQ(errorCode(answer), 105);
    EXPECT_NE(text(answer, "error_message").find("-2147415840"), std::string::npos) << answer;
    EXPECT_EQ(text(answer, "cert_issuer"), "Test Authority");
  }
}

TEST(Endings, BrowserThatStopsListeningEndsTheHost) {
  Home home;
  HostProcess host(home);
  host.ask(kVersionRequest);
  host.closeOutput();
  host.send(kVersionRequest);
  EXPECT_EQ(host.waitForExit(), 0);
}

TEST(Endings, PersonAtATerminalIsToldWhatThisIs) {
  Home home;
  HostProcess host(home, {.terminal = true});
  host.write("\x04");
  host.waitForExit();
  const std::string told = host.standardError();
  EXPECT_EQ(lines(told).size(), 1U) << told;
  EXPECT_NE(told.find("native-messaging host"), std::string::npos) << told;
  EXPECT_EQ(host.readToEnd(), "");
}

}  // namespace
}  // namespace e2e
