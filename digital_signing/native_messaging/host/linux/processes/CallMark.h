#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "shared/base/Descriptor.h"

namespace vorn::keys {

/** A page of memory that the process for keys shares with whoever has started it, and in which it says whom
 * it waits for: that can be read when it says nothing any more. A module can write into it as well as
 * anywhere else: it is read as bytes of a stranger. */
struct CallMark {
  static constexpr std::size_t kRoom = 1024;

  /** Milliseconds of the steady clock at which the call at hand began; 0 while no module is called. */
  std::atomic<std::int64_t> since;
  /** Counts the calls that have begun or returned. */
  std::atomic<std::uint64_t> calls;
  /** Whether a person is asked, whom nobody hurries. */
  std::atomic<bool> waitsForPerson;
  /** Of the call at hand, or else of the last one; with a zero byte at the end. */
  char library[kRoom];
  char function[64];
};

/** A new page, closed in other programs; none when there is none. */
Descriptor makeCallMark();
/** The page; one of the process's own when the descriptor is none. Never null. */
CallMark* mapCallMark(int descriptor);

std::int64_t steadyMilliseconds();

/** In the process for keys: the page that it was given. */
CallMark& callMark();
void useCallMark(CallMark* mark);

/** Before and after each call of a module. */
void markCall(const std::string& library, const char* function) noexcept;
void markReturn() noexcept;

/** While it lives a person is asked. */
class MarkedWait {
 public:
  MarkedWait() { callMark().waitsForPerson = true; }
  ~MarkedWait() { callMark().waitsForPerson = false; }
  MarkedWait(const MarkedWait&) = delete;
  MarkedWait& operator=(const MarkedWait&) = delete;
};

}  // namespace vorn::keys
