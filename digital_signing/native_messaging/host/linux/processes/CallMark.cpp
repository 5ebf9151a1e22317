#include "linux/processes/CallMark.h"

#include <sys/mman.h>

#include <chrono>
#include <cstdint>
#include <cstring>

namespace vorn::keys {
namespace {

CallMark ownMark;
CallMark* marked = &ownMark;
/** A call that ends the process calls others: the first is to be known. */
int depth = 0;

}  // namespace

Descriptor makeCallMark() {
  Descriptor descriptor(memfd_create("vorn-signing-keys", MFD_CLOEXEC));
  if (descriptor && ftruncate(descriptor.get(), sizeof(CallMark)) != 0) descriptor.reset();
  return descriptor;
}

CallMark* mapCallMark(int descriptor) {
  void* const page = mmap(nullptr, sizeof(CallMark), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return page != MAP_FAILED ? static_cast<CallMark*>(page) : &ownMark;
}

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

CallMark& callMark() {
  return *marked;
}

void useCallMark(CallMark* mark) {
  marked = mark;
}

void markCall(const std::string& library, const char* function) noexcept {
  if (depth++ > 0) return;
  marked->library[library.copy(marked->library, CallMark::kRoom - 1)] = '\0';
  std::strncpy(marked->function, function, sizeof marked->function - 1);
  ++marked->calls;
  marked->since = steadyMilliseconds();
}

void markReturn() noexcept {
  if (--depth > 0) return;
  marked->since = 0;
  ++marked->calls;
}

}  // namespace vorn::keys
