#pragma once

#include <filesystem>
#include <string>

#include "Bytes.h"

namespace e2e {

/** A throw-away home folder of one test, removed with the object. */
class Home {
 public:
  /** An empty home, or one with a copy of the key store of a home that make-homes made: "main" or "locked".
   */
  explicit Home(const std::string& keyStore = "");
  ~Home();
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path logPath() const { return path_ / "vorn-signing.log"; }
  /** The whole log; empty when there is none. */
  std::string log() const;

 private:
  std::filesystem::path path_;
};

/** Where make-homes left its homes. */
std::filesystem::path preparedHomes();

using namespace tests;

/** The key identifier of an authority of make-homes, as requests name it: "main", "zoe" or "locked". */
std::string akiOf(const std::string& authority);

}  // namespace e2e
