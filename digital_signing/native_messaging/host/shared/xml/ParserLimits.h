#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/SecurityManager.hpp>

namespace vorn {

/** The memory of one parse. It bounds what a hostile document can make the parser do, at the one place
 * through which all of it passes: the bytes that are alive, and the number of entities that are expanded. The
 * parser counts the expansions of general entities by itself, but neither those of parameter entities nor
 * those inside default values of attributes; every expansion, though, allocates one reader. */
class ParserMemory : public xercesc::MemoryManager {
 public:
  /** Told of the limit that was passed. It has to throw. */
  using Refusal = std::function<void(const std::string& reason)>;

  explicit ParserMemory(std::size_t maximumBytes) : maximumBytes_(maximumBytes) {}
  /** Frees what the parser lost when it was stopped midway. */
  ~ParserMemory() override;

  void onExcess(Refusal refusal) { refuse_ = std::move(refusal); }
  void limitExpansions(std::size_t count) { maximumExpansions_ = count; }
  /** The expansions since the first limit was set. */
  std::size_t expansions() const { return expansions_; }

  void* allocate(XMLSize_t size) override;
  void deallocate(void* memory) override;
  xercesc::MemoryManager* getExceptionMemoryManager() override;

 private:
  struct Block {
    Block* previous;
    Block* next;
    std::size_t size;
  };

  // Blocks follow their heads at an address for objects of any kind.
  static constexpr std::size_t kHeader =
      (sizeof(Block) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);

  // What a block takes besides, here and in the allocator: a hostile document has millions of small ones, and
  // would else hide half of their cost.
  static constexpr std::size_t kOverhead = kHeader + 16;

  void excess(const std::string& reason);

  Block blocks_{&blocks_, &blocks_, 0};  // the ring of all that is alive
  std::size_t maximumBytes_;
  std::optional<std::size_t> maximumExpansions_;
  std::size_t liveBytes_ = 0;
  std::size_t expansions_ = 0;
  Refusal refuse_;
};

/** How many characters the entities of one document, or of several together, may still expand to. */
class ExpansionBudget {
 public:
  std::size_t left() const { return left_; }
  void charge(std::size_t characters) { left_ -= characters < left_ ? characters : left_; }

 private:
  std::size_t left_ = std::size_t{16} << 20;
};

/** How large, how deep and how wide a document may be: memory and time of a parse are bounded, and time grows
 * with the length alone. The parser reports what it meets; what passes a limit raises a SAXParseException
 * with the place, and elements that are nested too deeply an InvalidXMLDataException. */
class ParserLimits {
 public:
  static constexpr unsigned kMaximumElementDepth = 1000;
  // The tree keeps all names in a table of 257 chains: a million names took more than two minutes, these take
  // 60 ms.
  static constexpr std::size_t kMaximumNames = 50000;

  /** The bytes that a document of so many bytes may take. Elements of four bytes, the worst of the harmless,
   * take 80 for each byte; 10 MiB of `<a/>` need 0.5 GB. With the document's own bytes, the largest of which
   * are 48 MiB, a program stays below 1 GiB. */
  static constexpr std::size_t memoryFor(std::size_t documentBytes) {
    constexpr std::size_t kMaximum = std::size_t{896} << 20;
    constexpr std::size_t kBase = std::size_t{128} << 20;
    constexpr std::size_t kPerByte = 128;
    return documentBytes < (kMaximum - kBase) / kPerByte ? kBase + kPerByte * documentBytes : kMaximum;
  }

  /** Memory and scanner have to outlive this object. */
  ParserLimits(ParserMemory& memory, xercesc::XMLScanner& scanner, const ExpansionBudget& budget);
  ParserLimits(const ParserLimits&) = delete;
  ParserLimits& operator=(const ParserLimits&) = delete;

  void enterElement(XMLSize_t attributeCount);
  void leaveElement() { --elementDepth_; }
  /** Of all elements so far. */
  unsigned deepestElement() const { return deepestElement_; }
  /** To how many characters entities were expanded: not less than it was. */
  std::size_t expandedCharacters() const;
  void enterEntity(XMLSize_t length);
  void leaveEntity() { --entityDepth_; }
  void declareEntity(XMLSize_t length);
  void declareAttribute();
  /** Told how many different names there are now. */
  void countNames(std::size_t count) const;

  /** Refuses the document for the reason, at the place that the parser has reached. */
  [[noreturn]] void refuse(const std::string& reason) const;

 private:
  void limitExpansions();

  ParserMemory& memory_;
  xercesc::XMLScanner& scanner_;
  xercesc::SecurityManager expansions_;
  const XMLSize_t expandable_;
  XMLSize_t longestEntity_ = 0;
  XMLSize_t expandedContent_ = 0;
  XMLSize_t expansionsInContent_ = 0;
  unsigned elementDepth_ = 0;
  unsigned deepestElement_ = 0;
  unsigned entityDepth_ = 0;
  unsigned attributeDefinitions_ = 0;
};

}  // namespace vorn
