#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorn {

/**
 * The namespace declarations in scope at one place of a walk. Opening an element, declaring and looking up
 * cost the same however many declarations are in scope. The texts are borrowed from the tree.
 */
class NamespaceScope {
 public:
  struct Declaration {
    std::u16string_view prefix;
    std::u16string_view uri;
  };

  void open() { marks_.push_back(undo_.size()); }
  void close();

  /** Binds the prefix in the element opened last. Returns whether that changes what the prefix stands for. */
  bool declare(const Declaration& declaration);

  /** The namespace name; empty if there is none. The default namespace has the empty prefix. */
  std::u16string_view find(std::u16string_view prefix) const;

 private:
  std::unordered_map<std::u16string_view, std::u16string_view> bindings_;
  std::vector<Declaration> undo_;
  std::vector<std::size_t> marks_;
};

}  // namespace vorn
