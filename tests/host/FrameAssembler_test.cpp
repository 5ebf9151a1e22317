#include "shared/messaging/FrameAssembler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "shared/Exceptions.h"

namespace {

std::string prefix(std::uint32_t length) {
  std::string bytes(sizeof length, '\0');
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes;
}

std::string frame(const std::string& text) {
  return prefix(static_cast<std::uint32_t>(text.size())) + text;
}

std::vector<std::string> messagesOf(const std::vector<std::string>& deliveries) {
  FrameAssembler frames;
  std::vector<std::string> messages;
  for (const std::string& bytes : deliveries) {
    frames.append(bytes);
    while (auto message = frames.next()) {
      messages.push_back(*message);
    }
  }
  return messages;
}

TEST(FrameAssembler, findsTheSameMessagesWhereverTheStreamIsCut) {
  const std::vector<std::string> messages = {"{\"type\":1}", "", std::string("a\0b", 3),
                                             std::string(300, 'x')};
  std::string stream;
  for (const std::string& message : messages) {
    stream += frame(message);
  }
  for (std::size_t first = 0; first <= stream.size(); ++first) {
    for (const std::size_t second : {first, first + 1, first + 5, stream.size()}) {
      const std::size_t end = std::min(second, stream.size());
      EXPECT_EQ(messagesOf({stream.substr(0, first), stream.substr(first, end - first), stream.substr(end)}),
                messages)
          << "cut at " << first << " and " << end;
    }
  }
  std::vector<std::string> singleBytes;
  for (const char byte : stream) {
    singleBytes.emplace_back(1, byte);
  }
  EXPECT_EQ(messagesOf(singleBytes), messages);
}

TEST(FrameAssembler, takesTheLargestMessageAndRefusesOneByteMore) {
  const std::string largest(FrameAssembler::kMaximumLength, ' ');
  EXPECT_EQ(messagesOf({frame(largest).substr(0, 70000), frame(largest).substr(70000)}),
            std::vector<std::string>{largest});

  for (const std::uint32_t length : {FrameAssembler::kMaximumLength + 1, 0xFFFFFFFFU}) {
    FrameAssembler frames;
    frames.append(prefix(length));
    try {
      frames.next();
      ADD_FAILURE() << length << " was accepted";
    } catch (const InvalidArgumentException& refused) {
      EXPECT_EQ(refused.message(), "Invalid request message length " + std::to_string(length));
    }
  }
}

}  // namespace
