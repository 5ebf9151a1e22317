#include "linux/prompt/SigningRequest.h"

#include <utility>

namespace vorn::prompt {
namespace {

SigningRequest* currentRequest = nullptr;

}  // namespace

SigningRequest::SigningRequest(Facts facts) : facts_(std::move(facts)) {
  currentRequest = this;
}

SigningRequest::~SigningRequest() {
  for (auto action = actions_.rbegin(); action != actions_.rend(); ++action) (*action)();
  currentRequest = nullptr;
}

SigningRequest* SigningRequest::current() {
  return currentRequest;
}

}  // namespace vorn::prompt
