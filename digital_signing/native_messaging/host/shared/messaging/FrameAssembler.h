#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorn {

/** Cuts the browser's byte stream into messages. A frame is a length of four bytes in the machine's byte
 * order and that many bytes of text; the stream may be cut anywhere, within the length too. */
class FrameAssembler {
 public:
  /** In bytes. What browsers send at most is theirs to say; this is what the host is ready to hold. */
  static constexpr std::uint32_t kMaximumLength = 10485760;

  void append(std::string_view bytes);

  /** The next message that is complete, or nothing until more bytes are appended. Throws
   * InvalidArgumentException for a length above the maximum, before anything of that size is allocated. */
  std::optional<std::string> next();

 private:
  bool readLength();

  std::string buffer_;
  std::size_t offset_ = 0;  // what stands before it has been handed out
  std::optional<std::uint32_t> expectedLength_;
};

}  // namespace vorn
