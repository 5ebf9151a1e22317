#include <sys/prctl.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <thread>

#include "linux/keys/Questions.h"
#include "linux/processes/BuildId.h"
#include "linux/processes/KeyChannel.h"
#include "linux/processes/KeyProgram.h"
#include "linux/processes/Sandbox.h"
#include "linux/prompt/PinPrompt.h"
#include "linux/prompt/PromptProcess.h"
#include "shared/base/Descriptor.h"

/** The process for keys: it alone opens key stores, loads the libraries of tokens, asks for PINs and has keys
 * sign. It is started with a socket as its standard input, over which it is asked: see Questions. With
 * --serve it hands the sockets of its workers over there, which are asked instead: see KeyProgram. */
using namespace vorn;

namespace {

constexpr int kFirstFree = 3;
/** Out of the way of those who close what they think is theirs. */
constexpr int kHigh = 200;

keys::KeyChannel* asker = nullptr;

int moveAway(int descriptor) {
  const int high = fcntl(descriptor, F_DUPFD_CLOEXEC, kHigh);
  const int moved = high >= 0 ? high : fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFree);
  if (descriptor >= kFirstFree) close(descriptor);
  return moved;
}

void tell(prompt::Weight weight, std::string_view text) {
  jsonxx::Object record("log", text);
  record << "warning" << (weight == prompt::Weight::kWarning);
  asker->send(record);
}

/** Whatever else the process does: it ends when nobody is at the other end any more. */
void endWith(int socket) {
  while (!isReady(socket, POLLRDHUP, -1)) continue;
  prompt::PromptProcess::dismissOpen();
  _exit(EXIT_SUCCESS);
}

int answerUntilTheEnd(keys::KeyChannel& channel) {
  keys::Questions questions;
  while (channel.receive())
    while (const auto question = channel.next())
      if (const auto answer = questions.answer(*question); answer && !channel.send(*answer))
        return EXIT_SUCCESS;
  return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** arguments) {
  struct stat input{};
  if (fstat(STDIN_FILENO, &input) != 0 || !S_ISSOCK(input.st_mode)) {
    std::fputs("vorn-signing-keys keeps keys and PINs for vorn-signing, which starts it\n", stderr);
    return EXIT_FAILURE;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const int ignored : {SIGPIPE, SIGXFSZ}) std::signal(ignored, SIG_IGN);
  int socket = moveAway(STDIN_FILENO);
  if (socket > kFirstFree) close_range(kFirstFree, static_cast<unsigned>(socket) - 1, 0);
  emptyStandardInput();
  enterSandbox();  // the host has a log, and says in it whether that succeeds
  // Whoever has started the file that stood here before cannot know what this one says.
  if (count > 2 && std::string_view(arguments[2]) != kBuildId) return EXIT_FAILURE;
  if (count > 1 && std::string_view(arguments[1]) == keys::kServe)
    socket = moveAway(keys::serveWorkers(socket, count > 2));
  keys::KeyChannel channel(socket);
  asker = &channel;
  prompt::setLog(&tell);
  std::thread(&endWith, socket).detach();
  try {
    _exit(answerUntilTheEnd(channel));
  } catch (const std::exception& failure) {
    tell(prompt::Weight::kWarning, std::string("The process for keys fails: ") + failure.what());
    _exit(EXIT_FAILURE);
  }
}
