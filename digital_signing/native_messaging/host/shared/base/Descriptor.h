#pragma once

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace vorn {

/** Owns the number of an open file; negative when it has none. */
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  int release() { return std::exchange(number_, -1); }
  void reset(int number = -1) {
    if (const int former = std::exchange(number_, number); former >= 0) close(former);
  }

 private:
  int number_;
};

/** Whether one of poll's `events` comes within so many milliseconds; a negative number waits for ever. */
inline bool isReady(int descriptor, short events, int milliseconds) {
  pollfd one{descriptor, events, 0};
  return poll(&one, 1, milliseconds) > 0;
}

/** read(2), begun again when a signal interrupts it. */
inline ssize_t readSome(int descriptor, void* bytes, std::size_t room) {
  while (true)
    if (const ssize_t count = read(descriptor, bytes, room); count >= 0 || errno != EINTR) return count;
}

/** Appends what there is until the end, or until there are more than `most` bytes. False, with errno set,
 * when it cannot be read. */
inline bool readAll(int descriptor, std::string& bytes, std::size_t most) {
  char part[1 << 16];
  ssize_t count = 1;
  while (bytes.size() <= most && (count = readSome(descriptor, part, sizeof part)) > 0)
    bytes.append(part, static_cast<std::size_t>(count));
  return count >= 0;
}

/** Takes off `bytes` what it has written: all of them, or else false, with errno set. Waits for a descriptor
 * that is set not to block, as long as its reader takes. Allocates nothing. */
inline bool writeAll(int descriptor, std::string_view& bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(count));
    else if (errno == EAGAIN)
      isReady(descriptor, POLLOUT, -1);
    else if (errno != EINTR)
      return false;
  }
  return true;
}

/** Standard input has nothing to read from now on. */
inline void emptyStandardInput() {
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  dup2(nothing.get(), STDIN_FILENO);
}

}  // namespace vorn
