// The bridge to the log plug-in, libSarvikLogDriver.so beside the module.
//
// The plug-in is optional: unbound, every call here returns 0 and does
// nothing, so the module runs silently. A binding is all or nothing: either
// all nine exports of the plug-in are resolved or none is kept.
//
// Threading: logMessage() and the logDriver*() calls may run on any thread at
// any time. bindLogDriver(), bindLogDriverFrom() and unbindLogDriver() must not
// race with anything in this file: they run on the thread that creates or
// destroys the context, with no worker alive.
#ifndef SARVIK_LOGGING_LOG_BRIDGE_H
#define SARVIK_LOGGING_LOG_BRIDGE_H

#include <cstdarg>
#include <cstdint>

namespace sarvik {

// Binds <module folder>/libSarvikLogDriver.so. 0 when bound, also when it
// already was; -1 when the file or any of the nine exports is missing, in
// which case nothing stays loaded. Logs nothing either way.
int32_t bindLogDriver();

// The same steps with an explicit file.
int32_t bindLogDriverFrom(const char* path);

// Releases the plug-in; always 0.
int32_t unbindLogDriver();

bool logDriverBound();

// Delivers one record: the module tag, `level` unchanged and the formatted
// text, cut to 2046 characters. No line end is added. Unbound, returns 0
// before anything is formatted; bound, returns the plug-in's result.
int32_t logMessage(uint32_t level, const char* format, ...) __attribute__((format(printf, 2, 3)));
// The same with the arguments already gathered.
int32_t logMessageV(uint32_t level, const char* format, va_list args) __attribute__((format(printf, 2, 0)));

// Each hands its argument to the matching export and returns its result;
// unbound, each returns 0 without a call.
int32_t logDriverSetLevel(int32_t level);
int32_t logDriverSetFilePath(const char* path);
int32_t logDriverConfigFileWriter(bool enable);
int32_t logDriverConfigConsoleWriter(bool enable);

}  // namespace sarvik

#endif  // SARVIK_LOGGING_LOG_BRIDGE_H
