#pragma once

#include <string>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

namespace vorn {

/**
 * The bytes of a document in an encoding that the parser is to be told of, so that it need not find out by
 * itself.
 *
 * What is accepted: UTF-8, UTF-16 (of either order, with a byte order mark or a declaration), US-ASCII,
 * ISO-8859-1 to -16 and windows-1250 to -1258, under these names in any letter case. Others can show a reader
 * something else than what a parser reads. Byte order mark and declaration have to agree, and every byte has
 * to be part of a character.
 */
class DocumentEncoding {
 public:
  /** Throws XMLDataParsingException. The bytes have to outlive this object. */
  explicit DocumentEncoding(std::string_view bytes);
  DocumentEncoding(const DocumentEncoding&) = delete;
  DocumentEncoding& operator=(const DocumentEncoding&) = delete;

  /** The document's bytes, with the byte order mark if there is one. */
  std::string_view text() const { return text_; }
  /** Of `text`: UTF-8, UTF-16LE or UTF-16BE. */
  const XMLCh* name() const;
  /** Bytes to a unit of `text`: one or two. */
  std::size_t unit() const { return form_ == Form::kBytes ? 1 : 2; }
  /** The encoding that the declaration names; empty if it names none. */
  const std::string& declared() const { return declared_; }

  /** Throws XMLDataParsingException if some of the text is no character. Apart from the constructor because
   * the parser, where it notices, knows the place. */
  void requireCharacters() const;

 private:
  enum class Form { kBytes, kLittleEndian, kBigEndian };

  void findForm(std::string_view bytes);
  void acceptDeclared();
  void acceptBytes();
  [[noreturn]] void contradict(const char* actual) const;

  Form form_ = Form::kBytes;
  std::size_t markSize_ = 0;
  std::string declared_;
  std::string converted_;  // what `text_` shows if it is not the document's own bytes
  std::string_view text_;
};

}  // namespace vorn
