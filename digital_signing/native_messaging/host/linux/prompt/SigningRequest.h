#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vorn::prompt {

/**
 * The sign request at hand: what the user is told of it when asked for a PIN, and how long the consent
 * lasts that is given so. Without one nobody is asked. There is one at a time, used by the main thread.
 */
class SigningRequest {
 public:
  struct Facts {
    /** The extension, as the browser names it; "none" when no browser has started the host. */
    std::string caller;
    std::size_t documents;
  };

  explicit SigningRequest(Facts facts);
  /** Does what was given to `atEnd`, the last first. */
  ~SigningRequest();
  SigningRequest(const SigningRequest&) = delete;
  SigningRequest& operator=(const SigningRequest&) = delete;

  /** Null when there is none. */
  static SigningRequest* current();

  const Facts& facts() const { return facts_; }
  /** Whether the user has agreed to the request, by a PIN or by word. */
  bool hasConsent() const { return hasConsent_; }
  void consent() { hasConsent_ = true; }
  /** For what the request has opened or holds; must not throw. */
  void atEnd(std::function<void()> action) { actions_.push_back(std::move(action)); }

 private:
  const Facts facts_;
  bool hasConsent_ = false;
  std::vector<std::function<void()>> actions_;
};

}  // namespace vorn::prompt
