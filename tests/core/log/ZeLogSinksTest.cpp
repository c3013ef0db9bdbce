// The Android sink itself: this program stands in for the system's log, so
// that what reaches it can be compared with what reaches the host's callback.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "CZeDebugLog.h"
#include "ZeLut3D.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"

namespace {

std::mutex g_mutex;
std::vector<CapturedMessage> g_system;

std::vector<CapturedMessage> systemLog()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_system;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int __android_log_write(
    int priority, const char* tag, const char* text)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_system.push_back({ priority, tag, text });
    return 1;
}

namespace {

// Each message as "priority tag: text".
std::vector<std::string> lines(const std::vector<CapturedMessage>& messages)
{
    std::vector<std::string> result;
    for (const CapturedMessage& m : messages)
        result.push_back(std::to_string(m.priority) + " " + m.tag + ": " + m.text);
    return result;
}

TEST(LogSinks, SystemLogAndCallbackGetTheSameMessages)
{
    g_system.clear();
    {
        MessageCapture capture;
        CZeMessageLogger("s.cpp", 3, "f").error("broken %d", 1);
        CZeMessageLogger("t.cpp", 4, "g").warning() << "odd";
        CZeDebugLog::debugFormatOutput("note", CZeDebugLog::ZeInfoMsg, false);
        const std::vector<std::string> expected { "6 tavren: s.cpp(3), f: broken 1",
            "5 tavren: t.cpp(4), g: odd", "4 tavren: note" };
        EXPECT_EQ(lines(systemLog()), expected);
        EXPECT_EQ(lines(capture.messages()), expected);

        // The console switch takes the system log's place, not the callback's.
        CZeDebugLog::SetForceLogToStdOut(true);
        testing::internal::CaptureStderr();
        CZeMessageLogger().error("console");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "console\n");
        EXPECT_EQ(lines(systemLog()), expected);
        EXPECT_EQ(capture.messages().back().text, "console");
    }
    // Without a callback (MessageCapture restored the default) only the
    // system log hears.
    MessageCapture later;
    ZecLut3DSetMessageCallback(nullptr);
    CZeMessageLogger().error("alone");
    EXPECT_EQ(systemLog().back().text, "alone");
    EXPECT_EQ(later.count(), 0u);
}

} // namespace
