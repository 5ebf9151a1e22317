#include "shared/messaging/FrameAssembler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Bytes.h"

using namespace vorn;

namespace {

using tests::frame;

std::vector<std::string> messagesOf(const std::vector<std::string>& deliveries) {
  FrameAssembler frames;
  std::vector<std::string> messages;
  for (const std::string& bytes : deliveries) {
    frames.append(bytes);
    while (auto message = frames.next()) messages.push_back(*message);
  }
  return messages;
}

TEST(FrameAssembler, FindsTheSameMessagesWhereverTheStreamIsCut) {
  const std::vector<std::string> messages = {"{\"type\":1}", "", std::string("a\0b", 3),
                                             std::string(300, 'x')};
  std::string stream;
  for (const std::string& message : messages) stream += frame(message);
  for (std::size_t first = 0; first <= stream.size(); ++first) {
    for (const std::size_t second : {first, first + 1, first + 5, stream.size()}) {
      const std::size_t end = std::min(second, stream.size());
      EXPECT_EQ(messagesOf({stream.substr(0, first), stream.substr(first, end - first), stream.substr(end)}),
                messages)
          << "cut at " << first << " and " << end;
    }
  }
  std::vector<std::string> singleBytes;
  for (const char byte : stream) singleBytes.emplace_back(1, byte);
  EXPECT_EQ(messagesOf(singleBytes), messages);
}

}  // namespace
