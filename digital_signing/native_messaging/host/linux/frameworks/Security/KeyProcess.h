#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Security/Security.h"
#include "linux/processes/KeyChannel.h"
#include "linux/processes/KeyProgram.h"
#include "linux/processes/StoreFacts.h"

namespace vorn::frameworks {

/** The process for keys, as this one sees it: started when it is first needed, asked one question at a time,
 * and waited for as long as the calls into its modules return. When one does not, or takes the process down,
 * the process is started again without that module, which is left alone until `tryAllModules`. For the main
 * thread. */
class KeyProcess {
 public:
  static KeyProcess& instance();

  /** Uses a program that the host has started, and starts no other. */
  void adopt(const keys::KeyProgram& started) {
    program_ = started;
    isAdopted_ = true;
  }
  /** Whether the adopted program has ended, so that only another host can search again. */
  bool isLost() const { return isAdopted_ && program_.id <= 0; }
  /** `isGone` is called while an answer is waited for, and says whether the browser has gone; it is told
   * whether a person is being asked. */
  void abandonWhen(bool (*isGone)(bool isPersonAsked)) { isGone_ = isGone; }
  /** `log` is given what the process has to say. */
  void logBy(void (*log)(bool isWarning, std::string_view text)) { log_ = log; }
  /** Whether the last question was given up because the browser had gone. The process has been ended then. */
  bool isAbandoned() const { return isAbandoned_; }

  /** Begins or ends what the user consents to with a PIN. */
  void beginRequest(const std::string& caller, std::size_t documents);
  void endRequest();

  /** Nothing when there is no answer: `failure` says why. */
  std::optional<jsonxx::Object> ask(jsonxx::Object question);
  /** Says, for people, why the last question had no answer. */
  const std::string& failure() const { return failure_; }

  /** The stores that the last search of this process left out. */
  const std::vector<keys::StoreFault>& faults() const { return faults_; }
  /** The places that the last search has looked into. */
  std::vector<keys::TokenPlace> tokenPlaces();
  /** Every certificate of the key store, with the trust that its flags give; the lists of authorities that
   * come with a system are none of the user's. Asks for no password. Empty when there is no store. */
  std::vector<keys::StoredCertificate> certificatesWithTrust();
  /** Says, for people, which module is left out and what to do; empty when none is. */
  std::string adviceOnModules() const;
  std::size_t leftOutCount() const { return leftOut_.size(); }
  void tryAllModules() { leftOut_.clear(); }

  /** Changes whenever another process is started, which knows none of the numbers of keys. */
  int generation() const { return generation_; }
  void forget(int generation, long key);

 private:
  enum class Outcome { kAnswered, kEnded, kHangs, kAbandoned };
  using Clock = std::chrono::steady_clock;

  bool start();
  void end(bool inOrder);
  bool send(jsonxx::Object& question);
  Outcome wait(bool isSignature, Clock::time_point deadline, jsonxx::Object& answer);
  bool hangs(bool isSignature, Clock::time_point& deadline, std::uint64_t& calls) const;
  bool blame(Outcome outcome);
  void keepFaults(const jsonxx::Object& answer);

  bool isAdopted_ = false;
  int formerStatus_ = 0;
  keys::KeyProgram program_;
  std::unique_ptr<keys::KeyChannel> channel_;
  int generation_ = 0;
  bool (*isGone_)(bool) = nullptr;
  void (*log_)(bool, std::string_view) = nullptr;
  bool isAbandoned_ = false;
  std::string failure_;
  /** The request at hand, which a process that is started meanwhile is told as well. */
  std::optional<jsonxx::Object> request_;
  jsonxx::Array forgotten_;
  std::map<std::string, std::string> leftOut_;
  std::vector<keys::StoreFault> faults_;
};

/** The token that holds the identity's private key; without a name when `identity` is none. */
keys::Token tokenOf(SecIdentityRef identity);

}  // namespace vorn::frameworks
