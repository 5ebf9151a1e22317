#include "linux/app/FreedMemory.h"

#include <malloc.h>

namespace vorn {

void keepFreedMemory() {
  // Blocks beyond the first go back to the system as they are freed. None of a usual request is as large.
  constexpr int kLargestKept = 32 << 20;
  constexpr int kKept = 256 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargestKept);
  mallopt(M_TRIM_THRESHOLD, kKept);
}

void handBackFreedMemory() {
  malloc_trim(0);
}

}  // namespace vorn
