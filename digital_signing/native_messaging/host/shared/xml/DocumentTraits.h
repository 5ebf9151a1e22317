#pragma once

namespace vorn {

/** Traits of a document that the parser notices, so that nobody has to walk through it for them. */
struct DocumentTraits {
  unsigned depth = 0; /**< levels of elements */
  bool declaresNamespacesBelowRoot = false;
  bool mayHoldControls =
      false; /**< carriage returns as references, which alone come through, or U+0080 to U+009F */
  // Of names of other things than elements and attributes: instructions, and what a document type names.
  bool hasLongName = false;  /**< as isLong has it */
  bool hasLaterName = false; /**< not of the fourth edition */
};

}  // namespace vorn
