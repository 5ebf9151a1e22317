#pragma once

#include <log4cplus/layout.h>

namespace vorn {

/**
 * The pattern's layout, with every message made harmless first: whatever a page, an extension or a
 * certificate had written into it, one record is one line, and no other text can pass for a record.
 */
class HarmlessLayout : public log4cplus::PatternLayout {
 public:
  using PatternLayout::PatternLayout;

  void formatAndAppend(log4cplus::tostream& output,
                       const log4cplus::spi::InternalLoggingEvent& event) override;
};

}  // namespace vorn
