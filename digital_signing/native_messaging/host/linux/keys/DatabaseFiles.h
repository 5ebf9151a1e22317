#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vorn::keys {

/** The files of a key database. They are watched until the process ends, and never closed: that would drop
 * the locks that SQLite itself has on them. */
class DatabaseFiles {
 public:
  explicit DatabaseFiles(const std::filesystem::path& folder);

  /** Opens what could not be opened before. */
  void open();
  /** Whether another process holds the database for itself, as each writer does for some milliseconds. */
  bool isHeld() const;
  /** The same once it is held no more, but after two seconds at most. False when it is still held then: NSS
   * would go on to wait, for minutes and for every object. */
  bool waitUntilFree() const;
  /** A value that differs once anybody has written to the files. */
  std::vector<std::int64_t> state() const;
  /** The first of the files that may not be read, and why; empty when all may. */
  const std::string& unreadable() const { return unreadable_; }

 private:
  struct File {
    std::filesystem::path path;
    int descriptor = -1;
  };
  File files_[2];
  std::string unreadable_;
};

}  // namespace vorn::keys
