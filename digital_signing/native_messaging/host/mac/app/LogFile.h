#pragma once

#include <string>

namespace vorn {

/** The log's file, open for appending: held by its descriptor, so that no later change of the
 * name leads elsewhere. */
class LogFile {
 public:
  /**
   * Makes the file at `path`, or takes the one that is there, for the user alone (mode 0600). Follows no
   * link, waits for nobody, and takes a regular file of the user's own only, in a folder of the user's or
   * root's. See `fault`.
   */
  explicit LogFile(const std::string& path);
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  /** Why there is no file, which is left as it was then; empty when it can be written. */
  const std::string& fault() const { return fault_; }
  /** A name by which this process, and no other, opens this very file again. */
  std::string ownName() const { return "/dev/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_ = -1;
  std::string fault_;
};

}  // namespace vorn
