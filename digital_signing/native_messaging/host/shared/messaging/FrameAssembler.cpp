#include "shared/messaging/FrameAssembler.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "shared/base/Exceptions.h"

namespace vorn {
namespace {

const log4cplus::Logger frameLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

}  // namespace

void FrameAssembler::append(std::string_view bytes) {
  buffer_.append(bytes);
}

std::optional<std::string> FrameAssembler::next() {
  if (!expectedLength_ && !readLength()) return std::nullopt;
  const std::uint32_t length = *expectedLength_;
  if (length > kMaximumLength) {
    LOG4CPLUS_ERROR(frameLog, "Request message length is greater than " << kMaximumLength);
    throw InvalidArgumentException("Invalid request message length " + std::to_string(length));
  }
  if (buffer_.size() - offset_ < length) {
    // The start of the message moves to the start of the buffer, so that a large message, which comes alone,
    // is handed out without a copy.
    buffer_.erase(0, offset_);
    offset_ = 0;
    buffer_.reserve(length);
    return std::nullopt;
  }

  expectedLength_.reset();
  if (offset_ == 0 && buffer_.size() == length) return std::exchange(buffer_, {});
  std::string message = buffer_.substr(offset_, length);
  offset_ += length;
  return message;
}

bool FrameAssembler::readLength() {
  std::uint32_t length = 0;
  if (buffer_.size() - offset_ < sizeof length) {
    buffer_.erase(0, offset_);
    offset_ = 0;
    return false;
  }
  std::memcpy(&length, buffer_.data() + offset_, sizeof length);
  offset_ += sizeof length;
  expectedLength_ = length;
  LOG4CPLUS_INFO(frameLog, "Request message length = " << length);
  return true;
}

}  // namespace vorn
