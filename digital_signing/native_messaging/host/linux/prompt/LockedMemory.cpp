#include "linux/prompt/LockedMemory.h"

#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <new>

#include "linux/prompt/PinPrompt.h"

namespace vorn::prompt {
namespace {

/** Longer than any line of the protocol between us and the prompt. */
constexpr std::size_t kRoom = 1024;

/** Stands before each block and says how long it is. */
union alignas(std::max_align_t) Header {
  std::size_t total;
};

Header* headerOf(void* memory) {
  return static_cast<Header*>(memory) - 1;
}

}  // namespace

void* allocateLocked(std::size_t size) noexcept {
  if (size > PTRDIFF_MAX) return nullptr;
  const std::size_t total = sizeof(Header) + size;
  void* const pages = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) return nullptr;
  if (mlock(pages, total) != 0)
    log(Weight::kWarning, "The system does not lock memory for the PIN, and may write it to its swap space");
  madvise(pages, total, MADV_DONTDUMP);
  madvise(pages, total, MADV_WIPEONFORK);
  auto* const header = static_cast<Header*>(pages);
  header->total = total;
  return header + 1;
}

void* reallocateLocked(void* memory, std::size_t size) noexcept {
  void* const moved = allocateLocked(size);
  if (memory == nullptr || moved == nullptr) return moved;
  memcpy(moved, memory, std::min(size, headerOf(memory)->total - sizeof(Header)));
  freeLocked(memory);
  return moved;
}

void freeLocked(void* memory) noexcept {
  if (memory == nullptr) return;
  Header* const header = headerOf(memory);
  const std::size_t total = header->total;
  explicit_bzero(header, total);
  munmap(header, total);
}

Secret::Secret() : bytes_(static_cast<char*>(allocateLocked(kRoom))) {
  if (bytes_ == nullptr) throw std::bad_alloc();
}

Secret::~Secret() {
  freeLocked(bytes_);
}

bool Secret::append(const void* bytes, std::size_t count) noexcept {
  if (count >= kRoom - size_) return false;
  memcpy(bytes_ + size_, bytes, count);
  size_ += count;
  return true;
}

void Secret::wipe() noexcept {
  explicit_bzero(bytes_, kRoom);
  size_ = 0;
}

}  // namespace vorn::prompt
