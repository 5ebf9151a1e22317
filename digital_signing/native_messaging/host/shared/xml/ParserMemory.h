#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <xercesc/framework/MemoryManager.hpp>

namespace vorn {

/**
 * The memory of one parse. It bounds what a hostile document can make the parser do, at the one place through
 * which all of it passes: the bytes that are alive, and the number of entities that are expanded. The parser
 * counts the expansions of general entities by itself, but neither those of parameter entities nor those
 * inside default values of attributes; every expansion, though, allocates one reader.
 */
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

}  // namespace vorn
