#include "linux/app/FreedMemory.h"

#include <malloc.h>

namespace vorn {

void keepFreedMemory() {
  // 32 MiB is the most that the first takes; blocks beyond go back as they are freed.
  constexpr int kLargestKept = 32 << 20;
  constexpr int kKept = 256 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargestKept);
  mallopt(M_TRIM_THRESHOLD, kKept);
}

void handBackFreedMemory() {
  malloc_trim(0);
}

}  // namespace vorn
