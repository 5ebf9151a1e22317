#include "shared/xml/ParserMemory.h"

#include <cstdlib>
#include <xercesc/internal/XMLReader.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace vorn {
namespace {

// What `new (manager) XMLReader` asks of its manager.
std::size_t readerBlockSize() {
  return xercesc::XMLPlatformUtils::alignPointerForNewBlockAllocation(sizeof(xercesc::MemoryManager*)) +
         sizeof(xercesc::XMLReader);
}

}  // namespace

ParserMemory::~ParserMemory() {
  while (blocks_.next != &blocks_) deallocate(reinterpret_cast<char*>(blocks_.next) + kHeader);
}

void* ParserMemory::allocate(XMLSize_t size) {
  if (size > maximumBytes_ || size + kOverhead > maximumBytes_ - liveBytes_)
    excess("The document needs too much memory");
  if (size == readerBlockSize() && maximumExpansions_ && ++expansions_ > *maximumExpansions_)
    excess("The document expands too many or too large entities");
  auto* block = static_cast<Block*>(std::malloc(kHeader + size));
  if (block == nullptr) throw xercesc::OutOfMemoryException();
  *block = {blocks_.previous, &blocks_, size};
  block->previous->next = block;
  blocks_.previous = block;
  liveBytes_ += size + kOverhead;
  return reinterpret_cast<char*>(block) + kHeader;
}

void ParserMemory::deallocate(void* memory) {
  if (memory == nullptr) return;
  auto* block = reinterpret_cast<Block*>(static_cast<char*>(memory) - kHeader);
  block->previous->next = block->next;
  block->next->previous = block->previous;
  liveBytes_ -= block->size + kOverhead;
  std::free(block);
}

xercesc::MemoryManager* ParserMemory::getExceptionMemoryManager() {
  // Exceptions outlive the parse.
  return xercesc::XMLPlatformUtils::fgMemoryManager->getExceptionMemoryManager();
}

void ParserMemory::excess(const std::string& reason) {
  if (refuse_) refuse_(reason);
  throw xercesc::OutOfMemoryException();
}

}  // namespace vorn
