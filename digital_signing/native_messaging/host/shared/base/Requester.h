#pragma once

#include <exception>

namespace vorn {

/** Nobody waits for the answer any more. Ends the process, with status 0 and without a word. */
class RequesterGoneException : public std::exception {
 public:
  const char* what() const noexcept override { return "nobody waits for an answer"; }
};

/** Whether the browser that has sent the request at hand is still there, for work that takes its time: many
 * signatures, or a question to the user. Asking costs a system call. */
namespace requester {

/** The descriptors that requests come from and answers go to. */
struct Ends {
  int input = -1;
  int output = -1;
};

/** To be called once, before the first request; until then nobody is watched, and nobody is ever gone. */
void watch(const Ends& ends);
/** The descriptors that `watch` was given, for code that polls more than these. */
const Ends& watched();

/** Whether nothing will ever follow the request: the other end of the input is closed. */
bool hasEndedInput();

/** Whether nobody waits for the answer: the output's reader has gone, or the input has been at its end for
 * longer than browsers wait for a host to leave. Who closes the input behind a request and reads on is
 * answered as far as it can be done in that time. */
bool isGone();

/** Throws RequesterGoneException if so. */
void requirePresent();

}  // namespace requester

}  // namespace vorn
