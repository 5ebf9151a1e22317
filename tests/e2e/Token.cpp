#include "e2e/Token.h"

#include <cstdlib>

namespace e2e {

std::filesystem::path tokenFolder(const Home& home) {
  return home.path() / "tokens";
}

HostOptions installPrompt(const Home& home, const std::string& answers) {
  writeFile(home.path() / "answers", answers);
  return {.environment = {"VORN_PINENTRY=" VORN_TEST_SCRIPTS "/scripted-pinentry",
                          "SOFTHSM2_CONF=" + (home.path() / "softhsm.conf").string(),
                          "VORN_TOKEN_TRIES=" + (home.path() / "tries").string()},
          .arguments = {"chrome-extension://mfhbkomhbodjalemnkcbfeabgimhoion/"}};
}

HostOptions installToken(const Home& home, const std::string& answers, const std::string& options) {
  const std::string command = VORN_TEST_SCRIPTS "/make-token '" + home.path().string() +
                              "' " VORN_COUNTING_MODULE " " + (preparedHomes() / "main").string() + " " +
                              options;
  if (std::system(command.c_str()) != 0) throw std::runtime_error("no token: " + command);
  return installPrompt(home, answers);
}

}  // namespace e2e
