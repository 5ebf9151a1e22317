#include <csignal>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>
#include <unistd.h>

#include "e2e/Messages.h"
#include "e2e/Token.h"
#include "shared/base/Waiting.h"

/** The question for a PIN, answered by scripted-pinentry. */
namespace e2e {
namespace {

using Clock = std::chrono::steady_clock;

std::string promptsOf(const Home& home) {
  return readFile(home.path() / "prompts");
}

std::size_t countOf(const std::string& line, const std::string& text) {
  const auto all = lines(text);
  return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
}

std::string signRequest(std::size_t documents, const Home& home, const std::string& more = "") {
  const std::string authority = std::filesystem::exists(home.path() / "tokens") ? "main" : "locked";
  return SignRequest{.aki = akiOf(authority),
                     .documents = std::vector<Document>(documents, Document{agreement()}),
                     .more = more}
      .json();
}

/** How often the text lies in the memory of the process, which root alone may read. */
std::size_t copiesInMemory(pid_t process, const std::string& text) {
  const std::string folder = "/proc/" + std::to_string(process);
  std::ifstream memory(folder + "/mem", std::ios::binary);
  std::size_t copies = 0;
  std::size_t read = 0;
  for (const std::string& line : lines(readFile(folder + "/maps"))) {
    std::size_t from = 0;
    std::size_t to = 0;
    if (std::sscanf(line.c_str(), "%zx-%zx r", &from, &to) != 2) continue;
    if (to - from > 1U << 30) continue;  // what sanitizers reserve
    std::string bytes(to - from, '\0');
    memory.clear();
    memory.seekg(static_cast<std::streamoff>(from));
    memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    read += memory ? bytes.size() : 0;
    for (std::size_t at = bytes.find(text); at != std::string::npos; at = bytes.find(text, at + 1)) ++copies;
  }
  EXPECT_GT(read, 1U << 20);
  return copies;
}

TEST(Pin, OneConsentForEachRequestAndNothingLeft) {
  const struct {
    const char* options;  // of the token; null for a database with a password
    const char* token;
    std::string pin;
  } rows[] = {
      {"", "jane", kPin}, {"--always-auth", "jane", kPin}, {nullptr, "NSS Certificate DB", "open sesame"}};
  for (const auto& row : rows) {
    const Home home(row.options == nullptr ? "locked" : "");
    HostProcess host(home, row.options == nullptr ? installPrompt(home, row.pin)
                                                  : installToken(home, "00000000\n" + row.pin, row.options));
    EXPECT_EQ(errorCode(host.ask(
                  SignRequest{.aki = akiOf(row.options == nullptr ? "locked" : "main")}.versionJson())),
              0);
    EXPECT_EQ(promptsOf(home), "") << "a search asks nobody";
    const std::size_t wrong = row.options == nullptr ? 0 : 1;
    for (std::size_t request = 1; request <= 2; ++request) {
      const std::string answer = host.ask(signRequest(10, home, R"("verbose": "ON", )"));
      EXPECT_EQ(texts(answer, "data").size(), 10U) << answer;
      EXPECT_EQ(countOf("GETPIN", promptsOf(home)), request + wrong);
    }
    EXPECT_EQ(countOf("SETDESC Sign 10 documents?%0AAsked for by: "
                      "chrome-extension://mfhbkomhbodjalemnkcbfeabgimhoion/%0ACertificate: Jane "
                      "Citizen%0AIssued by: Test Authority%0AValid until: " +
                          std::string(row.options == nullptr ? "2049-12-31" : "2049-06-30") +
                          "%0AToken: " + row.token,
                      promptsOf(home)),
              2 + wrong);
    EXPECT_EQ(home.log().find(row.pin), std::string::npos);
    for (const pid_t process : {host.id(), host.keysId()})
      EXPECT_TRUE(geteuid() != 0 || copiesInMemory(process, row.pin) == 0) << row.pin;
  }
}

TEST(Pin, WhatBecomesOfEachAnswer) {
  const struct {
    std::string answers;
    int code;
    std::size_t questions;
    const char* text;  // in the answer, or for a signature in the last warning
    const char* reason = "";
    std::vector<std::string> environment = {};  // instead of the scripted prompt
  } rows[] = {
      {"00000000\n" + kPin, 0, 2, "SETERROR Wrong PIN, few tries left"},
      {"1\n" + kPin, 0, 2, "SETERROR Too short: the PIN has 4 characters at least."},
      {"\n" + kPin, 0, 2, "SETERROR Nothing was typed."},
      {"\n\ncancel", 105, 3, "was cancelled by the user", "prompt-cancelled"},
      {"cancel", 105, 1, "prompt for the token \\\"jane\\\" was cancelled by the user", "prompt-cancelled"},
      {"crash", 105, 1, "ended without an answer", "no-prompt"},
      {"silence", 105, 1, "nobody has answered the prompt for 1 seconds", "no-prompt"},
      {"1", 105, 5, "No right PIN for the token", "pin-wrong"},
      {"", 105, 0, "install pinentry-gnome3 or pinentry-qt", "no-prompt", {"VORN_PINENTRY=", "DISPLAY=:0"}},
      {"", 105, 0, "there is no display to ask on", "no-prompt", {"VORN_PINENTRY="}},
      {"",
       105,
       0,
       "VORN_PINENTRY names nothing, which is no program",
       "no-prompt",
       {"VORN_PINENTRY=nothing"}},
      {"", 105, 0, "ended without an answer", "no-prompt", {"VORN_PINENTRY=/bin/true"}},
  };
  const Home home;
  installToken(home, "");
  for (const auto& row : rows) {
    std::filesystem::remove(home.path() / "prompts");
    writeFile(card(home), "3");
    HostOptions options = installPrompt(home, row.answers);
    options.environment.push_back("VORN_PROMPT_SECONDS=1");
    options.environment.insert(options.environment.begin(), row.environment.begin(), row.environment.end());
    if (!row.environment.empty()) options.searchPath = home.path();
    HostProcess host(home, options);
    const auto start = Clock::now();
    const std::string answer = host.ask(signRequest(1, home, R"("reasons": true, )"));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20)) << row.answers;
    EXPECT_EQ(errorCode(answer), row.code) << answer;
    EXPECT_TRUE(!row.answers.starts_with("\n\n") || readFile(card(home)) == "3")
        << "nothing is no PIN to try";
    EXPECT_EQ(row.code == 0 ? "" : text(answer, "error_reason"), row.reason);
    EXPECT_NE((row.code == 0 ? promptsOf(home) : answer).find(row.text), std::string::npos)
        << answer << promptsOf(home);
    EXPECT_EQ(countOf("GETPIN", promptsOf(home)), row.questions) << row.answers;
  }
}

TEST(Pin, PauseGrowsWithEachCancelInWhicheverHost) {
  const Home home;
  HostOptions options = installToken(home, "cancel\ncancel\n" + kPin);
  options.environment.push_back("XDG_RUNTIME_DIR=" + home.path().string());
  const auto start = Clock::now();
  for (const int code : {105, 105, 0})
    EXPECT_EQ(errorCode(HostProcess(home, options).ask(signRequest(1, home))), code);
  EXPECT_GT(Clock::now() - start, std::chrono::seconds(2))
      << "one second, then two, less what the file rounds";
  EXPECT_FALSE(std::filesystem::exists(home.path() / "vorn-signing-cancelled"));
}

TEST(Pin, RequestsAreConfirmedWhereThatIsWanted) {
  const Home home("main");
  HostOptions options = installPrompt(home, "yes\ncancel");
  options.arguments = {"/manifest.json", "evil%0AIssued by: me"};
  const std::filesystem::path wish = home.path() / ".config/vorn-signing/confirm";
  std::filesystem::create_directories(wish.parent_path());
  writeFile(wish, "");
  const std::string request = SignRequest{.documents = std::vector<Document>(10, Document{agreement()}),
                                          .more = R"("reasons": true, )"}
                                  .json();
  const auto askHost = [&] { return HostProcess(home, options).ask(request); };
  EXPECT_EQ(texts(askHost(), "data").size(), 10U);
  EXPECT_EQ(countOf("CONFIRM", promptsOf(home)), 1U);
  EXPECT_NE(promptsOf(home).find("SETDESC Sign 10 documents?%0AAsked for by: evil%250AIssued by: me%0A"),
            std::string::npos);
  const std::string refused = askHost();
  EXPECT_EQ(text(refused, "error_reason"), "confirm-refused") << refused;
  EXPECT_EQ(errorCode(refused), 105);
  options.environment.insert(options.environment.begin(), "VORN_PINENTRY=nothing");
  EXPECT_EQ(text(askHost(), "error_reason"), "no-prompt");
  std::filesystem::remove(wish);
  EXPECT_EQ(errorCode(askHost()), 0);

  const Home locked("locked");
  std::filesystem::create_directories(locked.path() / ".config/vorn-signing");
  writeFile(locked.path() / ".config/vorn-signing/confirm", "");
  HostProcess host(locked, installPrompt(locked, "open sesame"));
  EXPECT_EQ(errorCode(host.ask(signRequest(2, locked))), 0);
  EXPECT_EQ(countOf("GETPIN", promptsOf(locked)), 1U);
  EXPECT_EQ(countOf("CONFIRM", promptsOf(locked)), 0U) << "the PIN is consent enough";
}

TEST(Pin, LastTryIsNeverUsedUpSilently) {
  const Home home;
  HostProcess host(home, installToken(home, "00000000\n00000000\ncancel\n\n12\n11111111"));
  const auto tries = [&home] { return readFile(card(home)); };
  EXPECT_EQ(errorCode(host.ask(signRequest(1, home))), 105);
  EXPECT_EQ(tries(), "1");
  EXPECT_NE(promptsOf(home).find("SETERROR Wrong PIN, 1 try left: "), std::string::npos);
  for (const std::size_t questions : {6U, 6U}) {
    const std::string answer = host.ask(signRequest(1, home, R"("reasons": true, )"));
    EXPECT_EQ(text(answer, "error_reason"), "pin-blocked");
    EXPECT_NE(answer.find("is locked after too many wrong ones"), std::string::npos) << answer;
    EXPECT_EQ(countOf("GETPIN", promptsOf(home)), questions) << "a locked token is no question";
  }
  for (const char* warning : {"", "Nothing was typed. ", "Too short: the PIN has 4 characters at least. "})
    EXPECT_NE(promptsOf(home).find(std::string("SETERROR ") + warning + "Only 1 try is left: "),
              std::string::npos);
  EXPECT_EQ(tries(), "0");
}

TEST(Pin, ReaderWithKeysIsANoticeAndNoQuestion) {
  const Home home;
  HostOptions options = installToken(home, kPin, "--always-auth");
  options.environment.push_back("CARD_KEYS=" + (home.path() / "answers").string());
  HostProcess host(home, options);
  const std::string answer = host.ask(signRequest(6, home));
  ASSERT_EQ(errorCode(answer), 0) << answer;
  EXPECT_TRUE(verifies(home, fromBase64(texts(answer, "data").at(5)), "RenderedData"));
  EXPECT_EQ(countOf("GETPIN", promptsOf(home)), 0U);
  EXPECT_GE(countOf("MESSAGE", promptsOf(home)), 1U);
  EXPECT_NE(promptsOf(home).find("Type the PIN on the keys of the card reader."), std::string::npos);
}

void waitUntil(const std::function<bool()>& holds) {
  EXPECT_TRUE(vorn::comesWithin(kPatience, std::chrono::milliseconds(5), holds));
}

[[maybe_unused]] long lockedKiB(pid_t process) {
  const std::string status = readFile("/proc/" + std::to_string(process) + "/status");
  return std::stol(status.substr(status.find("VmLck:") + 6));
}

TEST(Pin, PromptOutlivesNeitherBrowserNorHost) {
  const Home home;
  HostOptions question = installToken(home, "silence");
  const auto script = home.path() / "starts-the-prompt";
  writeFile(script, "#!/bin/sh\n" VORN_TEST_SCRIPTS "/scripted-pinentry\nexit\n");
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  question.environment.insert(question.environment.begin(), "VORN_PINENTRY=" + script.string());
  HostOptions notice = question;
  notice.environment.push_back("CARD_KEYS=" + (home.path() / "nobody-types").string());
  for (const bool hostIsKilled : {false, true}) {
    for (const auto& [options, shown] : {std::pair(question, "GETPIN"), std::pair(notice, "MESSAGE")}) {
      std::filesystem::remove(home.path() / "prompts");
      HostProcess host(home, options);
      host.send(signRequest(1, home));
      waitUntil([&, line = shown] { return countOf(line, promptsOf(home)) == 1; });
#if !defined(__SANITIZE_ADDRESS__)  // which locks nothing
      EXPECT_GT(lockedKiB(host.keysId()), 0);
#endif
      EXPECT_EQ(countOf("SETTIMEOUT 240", promptsOf(home)), 1U);
      const auto prompt = static_cast<pid_t>(std::stol(readFile(home.path() / "prompt.pid")));
      if (hostIsKilled)
        kill(host.id(), SIGKILL);
      else
        host.closeInput();
      EXPECT_EQ(host.waitForExit(), hostIsKilled ? 128 + SIGKILL : 0);
      EXPECT_EQ(host.readToEnd(), "");
      waitUntil([prompt] { return kill(prompt, 0) != 0 && errno == ESRCH; });
    }
  }
}

}  // namespace
}  // namespace e2e
