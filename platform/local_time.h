// The local wall-clock time, for names made from the date.
#ifndef SARVIK_PLATFORM_LOCAL_TIME_H
#define SARVIK_PLATFORM_LOCAL_TIME_H

#include <ctime>

namespace sarvik {

// The current local time; safe to call from several threads at once.
std::tm currentLocalTime();

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_LOCAL_TIME_H
