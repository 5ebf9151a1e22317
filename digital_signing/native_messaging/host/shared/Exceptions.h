#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

/**
 * Every failure that the host reports to the browser. The code is what a page decides by; it is append-only:
 * a code once given keeps its meaning, and 106 stays unused.
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
  explicit TechnicalException(const std::string& message) : BaseException(100, message) {}
};

/** A malformed frame or request. The only class that ends the process: it is answered, then the host exits.
 */
class InvalidArgumentException : public BaseException {
 public:
  explicit InvalidArgumentException(const std::string& message) : BaseException(101, message) {}
};

class CertificateNotFoundException : public BaseException {
 public:
  CertificateNotFoundException() : BaseException(102, "Certificate not found") {}
};

/** The document is not well-formed XML, or not base64 of any. */
class XMLDataParsingException : public BaseException {
 public:
  explicit XMLDataParsingException(const std::string& message) : BaseException(103, message) {}
};

/** The document is XML, but what has to be signed is not in it once. */
class InvalidXMLDataException : public BaseException {
 public:
  explicit InvalidXMLDataException(const std::string& message) : BaseException(104, message) {}
};

/** The signature could not be made. */
class CryptoException : public BaseException {
 public:
  explicit CryptoException(const std::string& message) : BaseException(105, message) {}
};

class CertificateExpiredException : public BaseException {
 public:
  CertificateExpiredException() : BaseException(107, "Certificate expired") {}
};

class InvalidSignatureAlgorithmException : public BaseException {
 public:
  explicit InvalidSignatureAlgorithmException(const std::string& message) : BaseException(108, message) {}
};
