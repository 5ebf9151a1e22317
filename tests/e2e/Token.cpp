#include "e2e/Token.h"

#include <cstdlib>

namespace e2e {

std::filesystem::path card(const Home& home) {
  return home.path() / "card";
}

HostOptions installPrompt(const Home& home, const std::string& answers) {
  writeFile(home.path() / "answers", answers);
  // What the token's library and Xalan leave behind is theirs.
  return {
      .environment = {"ASAN_OPTIONS=detect_leaks=0", "VORN_PINENTRY=" VORN_TEST_SCRIPTS "/scripted-pinentry",
                      "SOFTHSM2_CONF=" + (home.path() / "softhsm.conf").string(),
                      "CARD=" + card(home).string()},
      .arguments = {"chrome-extension://mfhbkomhbodjalemnkcbfeabgimhoion/"}};
}

HostOptions installToken(const Home& home, const std::string& answers, const std::string& options) {
  const std::string command = VORN_TEST_SCRIPTS "/make-token '" + home.path().string() +
                              "' " VORN_TOKEN_MODULE " " + (preparedHomes() / "main").string() + " " +
                              options;
  if (std::system(command.c_str()) != 0) throw std::runtime_error("no token: " + command);
  writeFile(card(home), "3");
  return installPrompt(home, answers);
}

}  // namespace e2e
