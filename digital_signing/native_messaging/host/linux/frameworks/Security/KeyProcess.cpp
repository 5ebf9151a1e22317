#include "linux/frameworks/Security/KeyProcess.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace vorn::frameworks {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/** Bounds one call into a module; a card may take longer to sign than for anything else. */
constexpr seconds kCallPatience{20};
constexpr seconds kSignaturePatience{30};
/** Bounds the typing of a PIN on the reader itself, like a prompt. */
constexpr seconds kPersonPatience{240};
/** Bounds a whole search, and a process in which no call begins or returns. */
constexpr seconds kSearchPatience{60};
constexpr int kSliceMilliseconds = 100;
/** Lets a prompt restore its terminal. */
constexpr int kFarewellMilliseconds = 300;

/** How long the call at hand may take. */
seconds patienceOf(const keys::CallMark& mark) {
  return std::string_view(mark.function, 6) == "C_Sign" ? kSignaturePatience : kCallPatience;
}

std::string textOf(const char* room, std::size_t size) {
  return std::string(room, strnlen(room, size));
}

}  // namespace

KeyProcess& KeyProcess::instance() {
  static auto* const process = new KeyProcess;
  return *process;
}

bool KeyProcess::start() {
  if (channel_ != nullptr) return true;
  if (program_.id <= 0 && !isAdopted_) {
    const Descriptor file = keys::openKeyProgram();
    program_ = keys::startKeyProgram(file.get());
    const int cause = file ? errno : ENOENT;
    if (program_.id <= 0) {
      failure_ = "vorn-signing-keys cannot be started: " + std::generic_category().message(cause);
      return false;
    }
  }
  if (!keys::nextWorker(program_, formerStatus_)) {
    failure_ = "vorn-signing-keys has ended";
    keys::endKeyProgram(program_);
    return false;
  }
  ++generation_;
  channel_ = std::make_unique<keys::KeyChannel>(program_.socket);
  forgotten_.reset();
  return !request_ || channel_->send(*request_);
}

/** In order: with the time to take a prompt from the screen. */
void KeyProcess::end(bool inOrder) {
  if (inOrder && program_.id > 0) {
    shutdown(program_.socket, SHUT_RDWR);
    isReady(program_.end, POLLIN, kFarewellMilliseconds);
  }
  channel_.reset();
  keys::endKeyProgram(program_);
}

void KeyProcess::beginRequest(const std::string& caller, std::size_t documents) {
  request_.emplace("question", "begin");
  *request_ << "caller" << caller << "documents" << documents;
  if (channel_ != nullptr) channel_->send(*request_);
}

void KeyProcess::endRequest() {
  request_.reset();
  if (channel_ != nullptr) channel_->send(jsonxx::Object("question", "end"));
}

void KeyProcess::forget(int generation, long key) {
  if (generation == generation_) forgotten_ << jsonxx::Value(key);
}

bool KeyProcess::send(jsonxx::Object& question) {
  jsonxx::Object without;
  for (const auto& [library, reason] : leftOut_) without.import(library, reason);
  question.import("without", std::move(without));
  if (!forgotten_.empty()) question.import("forget", std::exchange(forgotten_, {}));
  return channel_->send(question);
}

std::optional<jsonxx::Object> KeyProcess::ask(jsonxx::Object question) {
  auto deadline = Clock::now() + kSearchPatience;
  bool isLastTime = false;
  const bool isSignature = keys::textIn(question, "question") == "sign";
  isAbandoned_ = false;
  // Twice without a module to blame is once too often.
  for (int unexplained = 0; unexplained < 2;) {
    if (!start()) return std::nullopt;
    jsonxx::Object answer;
    const Outcome outcome = send(question) ? wait(isSignature, deadline, answer) : Outcome::kEnded;
    if (outcome == Outcome::kAnswered) {
      keepFaults(answer);
      failure_.clear();
      return answer;
    }
    if (outcome == Outcome::kAbandoned) {
      end(true);
      isAbandoned_ = true;
      failure_ = "nobody waits for an answer";
      return std::nullopt;
    }
    const bool isBlamed = blame(outcome);
    if (!isBlamed) ++unexplained;
    // The key that was to sign is known to the process that is gone.
    if (isSignature) return std::nullopt;
    if (Clock::now() < deadline) continue;
    // What is left may well hold an identity that fits.
    if (!isBlamed || std::exchange(isLastTime, true)) break;
    deadline = Clock::now() + kCallPatience;
  }
  return std::nullopt;
}

/** Whether a call into a module, or the process as a whole, takes longer than anybody waits. */
bool KeyProcess::hangs(bool isSignature, Clock::time_point& deadline, std::uint64_t& calls) const {
  const keys::CallMark& mark = *program_.mark;
  // A search asks nobody, whatever a module has written there.
  const bool isPersonAsked = isSignature && mark.waitsForPerson;
  const std::int64_t since = mark.since;
  const seconds patience = isPersonAsked ? kPersonPatience : patienceOf(mark);
  if (since != 0 && keys::steadyMilliseconds() - since > milliseconds(patience).count()) return true;
  if (isPersonAsked) {
    deadline = std::max(deadline, Clock::now() + kCallPatience);
    return false;
  }
  // Signing takes as long as it takes, as long as it goes on.
  if (isSignature && std::exchange(calls, mark.calls) != mark.calls)
    deadline = Clock::now() + kSearchPatience;
  return Clock::now() >= deadline;
}

KeyProcess::Outcome KeyProcess::wait(bool isSignature, Clock::time_point deadline, jsonxx::Object& answer) {
  std::uint64_t calls = 0;
  while (true) {
    pollfd ends[] = {{program_.socket, POLLIN, 0}, {program_.end, POLLIN, 0}};
    const int ready = poll(ends, std::size(ends), kSliceMilliseconds);
    if (ready > 0 && ends[0].revents != 0) {
      if (!channel_->receive()) return Outcome::kEnded;
      while (auto message = channel_->next()) {
        if (!message->has<jsonxx::String>("log")) {
          answer = std::move(*message);
          return Outcome::kAnswered;
        }
        if (log_ != nullptr) log_(keys::flagIn(*message, "warning"), keys::textIn(*message, "log"));
      }
    } else if (ready > 0) {
      return Outcome::kEnded;
    }
    if (isGone_ != nullptr && isGone_(program_.mark->waitsForPerson)) return Outcome::kAbandoned;
    if (hangs(isSignature, deadline, calls)) return Outcome::kHangs;
  }
}

/** Ends the process, and finds out whose fault that is. False when it is no module's, or one's that was left
 * alone already. */
bool KeyProcess::blame(Outcome outcome) {
  const keys::CallMark& mark = *program_.mark;
  const std::string library = textOf(mark.library, sizeof mark.library);
  const std::string function = textOf(mark.function, sizeof mark.function);
  // The status of one that ended by itself is not that of the signal that would end it.
  if (outcome == Outcome::kEnded) isReady(program_.end, POLLIN, kSliceMilliseconds);
  const std::int64_t since = mark.since;
  const bool wasAtWork = since != 0;
  const std::int64_t taken = (keys::steadyMilliseconds() - since) / 1000;
  const bool isCallTooLong = wasAtWork && taken >= patienceOf(mark).count();
  channel_.reset();
  const int status = start() ? formerStatus_ : 0;
  // By a stranger's hand, for want of memory for instance.
  const bool wasKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (outcome == Outcome::kEnded && !wasAtWork && wasKilled) {
    failure_ = "The process for keys has been killed";
    return false;
  }
  std::string deed = "it ends the process that loads it";
  if (outcome == Outcome::kHangs)
    deed = isCallTooLong
               ? "it does not answer within " + std::to_string(taken) + " seconds"
               : "it does not come to an end within " + std::to_string(kSearchPatience.count()) + " seconds";
  else if (WIFSIGNALED(status) && !wasKilled)
    deed = "it crashes (signal " + std::to_string(WTERMSIG(status)) + ")";
  const std::string reason = deed + ", in " + function;
  failure_ = library.empty() ? "The process for keys has ended" : library + ": " + reason;
  return !library.empty() && leftOut_.emplace(library, reason).second;
}

std::string KeyProcess::adviceOnModules() const {
  if (leftOut_.empty()) return "";
  const auto& [library, reason] = *leftOut_.begin();
  return "The library of a card or token, " + library + ", cannot be used now: " + reason +
         "; see that its device is connected and its service runs, take the card out and put it in "
         "again, and try once more";
}

void KeyProcess::keepFaults(const jsonxx::Object& answer) {
  if (!answer.has<jsonxx::Array>("faults")) return;
  faults_.clear();
  constexpr long kLast = static_cast<long>(keys::StoreFault::Kind::kFile);
  for (const jsonxx::Object* fault : keys::objectsIn(answer, "faults"))
    faults_.push_back(
        {static_cast<keys::StoreFault::Kind>(std::clamp(keys::numberIn(*fault, "kind"), 0L, kLast)),
         keys::textIn(*fault, "place"), keys::textIn(*fault, "reason"),
         keys::textIn(*fault, "registration")});
}

std::vector<keys::TokenPlace> KeyProcess::tokenPlaces() {
  std::vector<keys::TokenPlace> places;
  const auto answer = ask(jsonxx::Object("question", "stores")).value_or(jsonxx::Object());
  for (const jsonxx::Object* place : keys::objectsIn(answer, "places"))
    places.push_back({keys::textIn(*place, "name"), keys::textIn(*place, "store"),
                      keys::flagIn(*place, "card"), keys::flagIn(*place, "in"), keys::flagIn(*place, "pin"),
                      keys::flagIn(*place, "blocked"), keys::flagIn(*place, "last_try"),
                      keys::flagIn(*place, "certificate")});
  return places;
}

std::vector<keys::StoredCertificate> KeyProcess::certificatesWithTrust() {
  constexpr long kMost = static_cast<long>(keys::Trust::kProhibited);
  std::vector<keys::StoredCertificate> certificates;
  const auto answer = ask(jsonxx::Object("question", "trust")).value_or(jsonxx::Object());
  for (const jsonxx::Object* stored : keys::objectsIn(answer, "certificates"))
    certificates.push_back(
        {keys::fromHex(keys::textIn(*stored, "certificate")),
         static_cast<keys::Trust>(std::clamp(keys::numberIn(*stored, "trust"), 0L, kMost))});
  return certificates;
}

}  // namespace vorn::frameworks
