#pragma once

#include <random>
#include <string>
#include <vector>

/** Documents with all that can make canonical forms differ; the same number gives the same document. */
class RandomDocument {
 public:
  explicit RandomDocument(unsigned number);

  /** In one of UTF-8, UTF-16 and ISO 8859-1. */
  std::string bytes();

 private:
  bool chance(unsigned percent) { return random_() % 100 < percent; }
  const std::string& pick(const std::vector<std::string>& choices) {
    return choices[random_() % choices.size()];
  }
  std::string doctype();
  std::string text();
  std::string attributeValue();
  std::string attributes();
  std::string element(const std::string& name, const std::string& inside, unsigned depth);
  std::string content(unsigned depth);

  std::mt19937 random_;
  bool latin1_ = false;
  bool hasDoctype_ = false;
};
