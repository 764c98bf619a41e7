// The reporter the module hands its platform objects: their records go to the
// log plug-in through the log bridge, their codes to the calling thread's
// last-error cell, exactly as the module's own reports do.
#ifndef SARVIK_LOGGING_MODULE_REPORTER_H
#define SARVIK_LOGGING_MODULE_REPORTER_H

#include "platform/platform_report.h"

namespace sarvik {

// One object for the whole process; it keeps no state and is never freed.
PlatformReporter* moduleReporter();

}  // namespace sarvik

#endif  // SARVIK_LOGGING_MODULE_REPORTER_H
