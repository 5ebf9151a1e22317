#pragma once

#include <cstddef>

namespace vorn::prompt {

/** Memory for what nobody may find: it is not swapped, not in a core dump, reads as zeros in a forked
 * process, and is wiped before the system has it back. Whole pages each: for few and short-lived things. Null
 * when there is none; a system that does not lock memory is told of in the log. */
void* allocateLocked(std::size_t size) noexcept;
void* reallocateLocked(void* memory, std::size_t size) noexcept;
void freeLocked(void* memory) noexcept;

/** A PIN or password as it was typed, in locked memory. Wiped with the object. */
class Secret {
 public:
  /** Throws std::bad_alloc. */
  Secret();
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  /** Ends with a zero byte. */
  const char* text() const { return bytes_; }
  std::size_t size() const { return size_; }
  /** False, with nothing appended, when there is no room for it. */
  bool append(const void* bytes, std::size_t count) noexcept;
  void wipe() noexcept;

 private:
  char* bytes_;
  std::size_t size_ = 0;
};

}  // namespace vorn::prompt
