#include "mac/app/HarmlessLayout.h"

#include <log4cplus/spi/loggingevent.h>

#include "shared/text/HarmlessText.h"

namespace vorn {

void HarmlessLayout::formatAndAppend(log4cplus::tostream& output,
                                     const log4cplus::spi::InternalLoggingEvent& event) {
  if (vorn::isHarmless(event.getMessage())) {
    PatternLayout::formatAndAppend(output, event);
    return;
  }
  const log4cplus::spi::InternalLoggingEvent harmless(
      event.getLoggerName(), event.getLogLevel(), event.getNDC(), event.getMDCCopy(),
      vorn::harmlessText(event.getMessage()), event.getThread(), event.getThread2(), event.getTimestamp(),
      event.getFile(), event.getLine(), event.getFunction());
  PatternLayout::formatAndAppend(output, harmless);
}

}  // namespace vorn
