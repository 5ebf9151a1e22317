#include "shared/ParserMemory.h"

#include <cstdlib>
#include <xercesc/internal/XMLReader.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

// In front of every block stands its size.
constexpr std::size_t kHeader = alignof(std::max_align_t);
// What a block takes besides: small ones, of which a hostile document has millions, would else hide half their cost.
constexpr std::size_t kOverhead = kHeader + 16;

// What `new (manager) XMLReader` asks of its manager.
std::size_t readerBlockSize() {
  return xercesc::XMLPlatformUtils::alignPointerForNewBlockAllocation(sizeof(xercesc::MemoryManager*)) +
         sizeof(xercesc::XMLReader);
}

}  // namespace

void* ParserMemory::allocate(XMLSize_t size) {
  if (size > maximumBytes_ || size + kOverhead > maximumBytes_ - liveBytes_) excess("The document needs too much memory");
  if (size == readerBlockSize() && maximumExpansions_ != 0 && ++expansions_ > maximumExpansions_) {
    excess("The document expands too many or too large entities");
  }
  auto* block = static_cast<char*>(std::malloc(kHeader + size));
  if (block == nullptr) throw xercesc::OutOfMemoryException();
  *reinterpret_cast<std::size_t*>(block) = size;
  liveBytes_ += size + kOverhead;
  return block + kHeader;
}

void ParserMemory::deallocate(void* block) {
  if (block == nullptr) return;
  char* start = static_cast<char*>(block) - kHeader;
  liveBytes_ -= *reinterpret_cast<std::size_t*>(start) + kOverhead;
  std::free(start);
}

xercesc::MemoryManager* ParserMemory::getExceptionMemoryManager() {
  // Exceptions outlive the parse.
  return xercesc::XMLPlatformUtils::fgMemoryManager->getExceptionMemoryManager();
}

void ParserMemory::excess(const std::string& reason) {
  if (refuse_) refuse_(reason);
  throw xercesc::OutOfMemoryException();
}
