// The platform's log call: one printf-like line with an Android priority (4 = info) and a tag.
// On Android it goes to the system log; elsewhere the formatted line goes to a sink, stderr by
// default, which tests replace to capture the lines. Internal; not exported.
// Thread safety: any thread may log; swap the sink only while no search runs.
#pragma once

#include "foundation/Export.h"

namespace platform {

// Receives one formatted line exactly as the caller wrote it (trailing newline included).
using LogSink = void (*)(int priority, const char* tag, const char* line);

// Formats and delivers one line; lines longer than 1023 bytes are cut.
SP_LOCAL void Log(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Installs `sink` (null restores stderr) and returns the previous one.
SP_LOCAL LogSink SetLogSink(LogSink sink);

}  // namespace platform
