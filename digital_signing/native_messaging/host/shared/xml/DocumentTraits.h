#pragma once

namespace vorn {

/** What was noticed of a document while it was read, so that nobody need walk through it for that. */
struct DocumentTraits {
  unsigned depth = 0; /**< levels of elements */
  bool declaresNamespacesBelowRoot = false;
  bool mayHoldCarriageReturns = false; /**< as references, which alone come through as what they are */
};

}  // namespace vorn
