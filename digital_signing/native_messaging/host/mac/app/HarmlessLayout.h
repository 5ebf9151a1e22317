#pragma once

#include <log4cplus/layout.h>

#include <cstddef>

namespace vorn {

/**
 * The pattern's layout, with every message made harmless first: whatever a page, an extension or a
 * certificate had written into it, one record is one line, and no other text can pass for a record.
 */
class HarmlessLayout : public log4cplus::PatternLayout {
 public:
  using PatternLayout::PatternLayout;

  /** In bytes, between two calls of `renewBudget`; what is more is told in the beginnings of messages. */
  static constexpr std::size_t kBudget = std::size_t{48} << 20;

  /** At the beginning of a request: all that it has logged in full, however small it is, is bounded. */
  static void renewBudget();

  void formatAndAppend(log4cplus::tostream& output,
                       const log4cplus::spi::InternalLoggingEvent& event) override;
};

}  // namespace vorn
