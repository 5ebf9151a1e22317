#include "shared/xml/NamespaceScope.h"

namespace vorn {

void NamespaceScope::close() {
  for (const std::size_t mark = marks_.back(); undo_.size() > mark; undo_.pop_back())
    bindings_[undo_.back().prefix] = undo_.back().uri;
  marks_.pop_back();
}

bool NamespaceScope::declare(const Declaration& declaration) {
  std::u16string_view& uri = bindings_[declaration.prefix];
  if (uri == declaration.uri) return false;
  undo_.push_back({declaration.prefix, uri});
  uri = declaration.uri;
  return true;
}

std::u16string_view NamespaceScope::find(std::u16string_view prefix) const {
  const auto binding = bindings_.find(prefix);
  return binding != bindings_.end() ? binding->second : std::u16string_view();
}

}  // namespace vorn
