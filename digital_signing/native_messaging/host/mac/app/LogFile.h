#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "shared/base/Descriptor.h"

namespace vorn {

/** The log's file, open for appending. */
class LogFile {
 public:
  /** Makes the file at `path`, or takes the one that is there, for the user alone (mode 0600). Follows no
   * link, waits for nobody, and takes a regular file of the user's own only, in a folder of the user's or
   * root's. See `fault`. */
  explicit LogFile(const std::string& path);

  /** Why there is no file, which is left as it was then; empty when it can be written. */
  const std::string& fault() const { return fault_; }
  /** Whether `path` leads to this very file by now, and not to another one or to none. */
  bool isAt(const std::string& path) const;
  /** By one call of the system, so that lines of two hosts do not mix. Says why not, or nothing. What could
   * be written in part stays a line of its own. */
  std::string append(std::string_view line);
  /** Takes the file away from `path` if it is longer than so many bytes, and there: one host of several does.
   */
  bool removeAbove(off_t limit, const std::string& path);

 private:
  Descriptor descriptor_;
  bool endsInLine_ = false;
  std::string fault_;
};

}  // namespace vorn
