// The log call: Android's system log on a device, a replaceable sink elsewhere.
#include "platform/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#if defined(__ANDROID__)
#include <android/log.h>
#endif

namespace platform {
namespace {

// "I/OLF: text", the form logcat shows, on stderr.
void StderrSink(int priority, const char* tag, const char* line) {
    static const char kLetters[] = "??VDIWEF";
    const char letter = priority >= 0 && priority < 8 ? kLetters[priority] : '?';
    fprintf(stderr, "%c/%s: %s", letter, tag, line);
}

std::atomic<LogSink> g_sink{StderrSink};

}  // namespace

void Log(int priority, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
#if defined(__ANDROID__)
    __android_log_vprint(priority, tag, format, args);
#else
    char line[1024];
    vsnprintf(line, sizeof(line), format, args);
    g_sink.load()(priority, tag, line);
#endif
    va_end(args);
}

LogSink SetLogSink(LogSink sink) {
    return g_sink.exchange(sink != nullptr ? sink : StderrSink);
}

}  // namespace platform
