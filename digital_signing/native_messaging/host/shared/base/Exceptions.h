#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace vorn {

/** Why a request failed, for callers who ask by "reasons": finer than the codes, so that a page can say what
 * to do. Words are only ever added; one that was given keeps its meaning. docs/protocol.md explains each. */
namespace reason {
inline constexpr const char* kNotFound = "not-found";
inline constexpr const char* kExpired = "expired";
inline constexpr const char* kPromptCancelled = "prompt-cancelled";
inline constexpr const char* kPinWrong = "pin-wrong";
inline constexpr const char* kPinBlocked = "pin-blocked";
inline constexpr const char* kCardOut = "card-out";
inline constexpr const char* kNoPrompt = "no-prompt";
inline constexpr const char* kModuleHangs = "module-hangs";
inline constexpr const char* kKeyFailed = "key-failed";
inline constexpr const char* kDocumentMalformed = "document-malformed";
inline constexpr const char* kDocumentInvalid = "document-invalid";
inline constexpr const char* kConfirmRefused = "confirm-refused";
inline constexpr const char* kRequestInvalid = "request-invalid";
inline constexpr const char* kAlgorithmUnknown = "algorithm-unknown";
inline constexpr const char* kStoreUnreadable = "store-unreadable";
inline constexpr const char* kRestart = "restart";
inline constexpr const char* kInternal = "internal";
}  // namespace reason

/** Every failure that the host reports to the browser. The code is what a page decides by,
 * and each stands in its class below alone. Codes are only ever added: one that was given
 * keeps its meaning, and 106 stays unused. */
class BaseException : public std::runtime_error {
 public:
  BaseException(std::uint32_t code, const std::string& message, std::string reason = reason::kInternal)
      : std::runtime_error(message), message_(message), reason_(std::move(reason)), code_(code) {}

  const std::string& message() const { return message_; }
  /** A word of namespace reason. */
  const std::string& reason() const { return reason_; }
  std::uint32_t code() const { return code_; }

 private:
  std::string message_;
  std::string reason_;
  std::uint32_t code_;
};

/** The platform or a library failed. */
class TechnicalException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 100;
  explicit TechnicalException(const std::string& message, const std::string& reason = reason::kInternal)
      : BaseException(kCode, message, reason) {}
};

/** In bytes of its text, after which an answer becomes an error: what a request can cost has an end. */
inline constexpr std::size_t kLongestAnswer = 67108864;

/** In the place of an answer that is longer. */
class AnswerTooLongException : public TechnicalException {
 public:
  AnswerTooLongException() : TechnicalException("Response message is too long") {}
};

/** A malformed frame or request. The only class that ends the process: it is answered, then the host exits.
 */
class InvalidArgumentException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 101;
  explicit InvalidArgumentException(const std::string& message)
      : BaseException(kCode, message, reason::kRequestInvalid) {}
};

class CertificateNotFoundException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 102;
  CertificateNotFoundException() : BaseException(kCode, "Certificate not found", reason::kNotFound) {}
};

/** The document is not well-formed XML, or not base64 of any. */
class XMLDataParsingException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 103;
  explicit XMLDataParsingException(const std::string& message)
      : BaseException(kCode, message, reason::kDocumentMalformed) {}
};

/** The document is XML, but what has to be signed is not in it once. */
class InvalidXMLDataException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 104;
  explicit InvalidXMLDataException(const std::string& message)
      : BaseException(kCode, message, reason::kDocumentInvalid) {}
};

/** The signature could not be made. */
class CryptoException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 105;
  explicit CryptoException(const std::string& message, const std::string& reason = reason::kKeyFailed)
      : BaseException(kCode, message, reason) {}
};

class CertificateExpiredException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 107;
  explicit CertificateExpiredException(const std::string& reason = reason::kExpired)
      : BaseException(kCode, "Certificate expired", reason) {}
};

class InvalidSignatureAlgorithmException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 108;
  explicit InvalidSignatureAlgorithmException(const std::string& message)
      : BaseException(kCode, message, reason::kAlgorithmUnknown) {}
};

}  // namespace vorn
