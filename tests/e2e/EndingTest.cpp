#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

/** Hostile and broken input, each with the ending that it has to find. */
namespace e2e {
namespace {

/** Signs one document for Jane; the host is expected to live on whatever comes of it. */
std::string answerTo(HostProcess& host, const std::string& document) {
  std::string answer = host.ask(SignRequest{.documents = {{document}}}.json());
  EXPECT_EQ(text(host.ask(kVersionRequest), "result"), "ok");
  return answer;
}

TEST(Endings, RefusedDocumentsLeaveTheRestUnsigned) {
  Home home("main");
  HostProcess host(home);
  const std::pair<std::string, std::string> cases[] = {
      {agreement("<a>\n</b>"), "(line 2, column"},
      {"<D><CounterpartData/></D>", "Request XML data is invalid. Element <RenderedData> not found"}};
  int code = 103;
  for (const auto& [document, message] : cases) {
    const std::string answer = host.ask(SignRequest{.documents = {{agreement()}, {document}}}.json());
    EXPECT_EQ(errorCode(answer), code++);
    EXPECT_NE(text(answer, "error_message").find(message), std::string::npos) << answer;
    EXPECT_EQ(answer.find("signed_data"), std::string::npos);
    EXPECT_EQ(text(answer, "cert_issuer"), "Test Authority");
  }
  EXPECT_EQ(errorCode(answerTo(host, agreement())), 0);
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
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("no port to listen on");
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
      for (const std::string& data : texts(answer, "data"))
        EXPECT_EQ(fromBase64(data).find("swordfish"), std::string::npos);
    }
  }
  EXPECT_FALSE(network.wasCalled());
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
