#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace vorn {

/**
 * Every failure that the host reports to the browser. The code is what a page decides by,
 * and each stands in its class below alone. Codes are only ever added: one that was given
 * keeps its meaning, and 106 stays unused.
 */
class BaseException : public std::runtime_error {
 public:
  BaseException(std::uint32_t code, const std::string& message)
      : std::runtime_error(message), message_(message), code_(code) {}

  const std::string& message() const { return message_; }
  std::uint32_t code() const { return code_; }

 private:
  std::string message_;
  std::uint32_t code_;
};

/** The platform or a library failed. */
class TechnicalException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 100;
  explicit TechnicalException(const std::string& message) : BaseException(kCode, message) {}
};

/**
 * A malformed frame or request. The only class that ends the process: it is answered, then the host exits.
 */
class InvalidArgumentException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 101;
  explicit InvalidArgumentException(const std::string& message) : BaseException(kCode, message) {}
};

class CertificateNotFoundException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 102;
  CertificateNotFoundException() : BaseException(kCode, "Certificate not found") {}
};

/** The document is not well-formed XML, or not base64 of any. */
class XMLDataParsingException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 103;
  explicit XMLDataParsingException(const std::string& message) : BaseException(kCode, message) {}
};

/** The document is XML, but what has to be signed is not in it once. */
class InvalidXMLDataException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 104;
  explicit InvalidXMLDataException(const std::string& message) : BaseException(kCode, message) {}
};

/** The signature could not be made. */
class CryptoException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 105;
  explicit CryptoException(const std::string& message) : BaseException(kCode, message) {}
};

class CertificateExpiredException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 107;
  CertificateExpiredException() : BaseException(kCode, "Certificate expired") {}
};

class InvalidSignatureAlgorithmException : public BaseException {
 public:
  static constexpr std::uint32_t kCode = 108;
  explicit InvalidSignatureAlgorithmException(const std::string& message) : BaseException(kCode, message) {}
};

}  // namespace vorn
