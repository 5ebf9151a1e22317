// The assembly of frames: however the stream is cut, the same messages come out, and they are the stream's.

#include <fuzzer/FuzzedDataProvider.h>
#include <log4cplus/helpers/loglog.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/Require.h"
#include "shared/base/Exceptions.h"
#include "shared/messaging/FrameAssembler.h"

using namespace vorn;

namespace {

struct Reading {
  std::vector<std::string> messages;
  std::string refusal;
  bool operator==(const Reading&) const = default;
};

/** Cuts the whole stream in the plainest way. */
Reading readAtOnce(const std::string& stream) {
  Reading reading;
  std::size_t at = 0;
  std::uint32_t length = 0;
  while (stream.size() - at >= sizeof length) {
    std::memcpy(&length, stream.data() + at, sizeof length);
    at += sizeof length;
    if (length > FrameAssembler::kMaximumLength) {
      reading.refusal = "Invalid request message length " + std::to_string(length);
      break;
    }
    if (stream.size() - at < length) break;
    reading.messages.push_back(stream.substr(at, length));
    at += length;
  }
  return reading;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  // Lengths as a fuzzer likes to make them, small and now and then not, then the cuts.
  std::string stream;
  while (input.ConsumeBool()) {
    const bool honest = input.ConsumeBool();
    const std::string text = input.ConsumeRandomLengthString(300);
    const auto length =
        honest ? static_cast<std::uint32_t>(text.size()) : input.ConsumeIntegral<std::uint32_t>();
    stream.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
  }
  const Reading expected = readAtOnce(stream);

  FrameAssembler assembler;
  Reading reading;
  std::string_view rest = stream;
  try {
    while (!rest.empty()) {
      const std::string_view piece =
          rest.substr(0, input.ConsumeIntegralInRange<std::size_t>(1, rest.size()));
      assembler.append(piece);
      rest.remove_prefix(piece.size());
      while (auto message = assembler.next()) reading.messages.push_back(std::move(*message));
    }
  } catch (const InvalidArgumentException& refusal) {
    reading.refusal = refusal.message();
  }
  require(reading == expected, "messages do not depend on the cuts");
  return 0;
}
