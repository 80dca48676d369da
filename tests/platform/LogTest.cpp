// The log seam: lines reach the installed sink formatted, with priority and tag, and null
// restores the default sink.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Log.h"

namespace {

std::vector<std::string> g_lines;

void Capture(int priority, const char* tag, const char* line) {
    g_lines.push_back(std::to_string(priority) + "|" + tag + "|" + line);
}

TEST(Log, SinkReceivesFormattedLinesAndLongLinesAreCut) {
    g_lines.clear();
    platform::SetLogSink(Capture);
    platform::Log(4, "OLF", "Error FaInitialize( Ret:0x%08x )\n", 0x12u);
    platform::Log(4, "DatabaseEngine", "%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(Capture, platform::SetLogSink(nullptr));
    platform::Log(4, "OLF", "to stderr\n");
    ASSERT_EQ(2u, g_lines.size());
    EXPECT_EQ("4|OLF|Error FaInitialize( Ret:0x00000012 )\n", g_lines[0]);
    EXPECT_EQ("4|DatabaseEngine|" + std::string(1023, 'x'), g_lines[1]);
}

// The default sink writes logcat's priority letter; priorities outside 0-7 get '?'.
TEST(Log, DefaultSinkPriorityLetters) {
    testing::internal::CaptureStderr();
    for (int priority : {-1, 0, 2, 4, 7, 8}) platform::Log(priority, "T", "%d\n", priority);
    EXPECT_EQ("?/T: -1\n?/T: 0\nV/T: 2\nI/T: 4\nF/T: 7\n?/T: 8\n",
              testing::internal::GetCapturedStderr());
}

}  // namespace
