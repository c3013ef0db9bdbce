// Level gate, priorities, prefix and console form of the message emitters.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CZeDebugLog.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"

namespace {

using Log = CZeDebugLog;

Log::ZeMessageType type7()
{
    return static_cast<Log::ZeMessageType>(7);
}

TEST(DebugLogLevels, GateByLevel)
{
    MessageCapture capture;
    struct Case {
        Log::DebugLevel level;
        bool debug, info, warning, error, seven;
    } cases[] = {
        {Log::DebugLevelNone, false, false, false, false, false},
        {Log::DebugLevelError, false, false, false, true, false},
        {Log::DebugLevelWarning, false, false, true, true, false},
        {Log::DebugLevelInfo, false, true, true, true, false},
        {Log::DebugLevelVerbose, true, true, true, true, true},
    };
    for (const Case& c : cases) {
        Log::SetDebugLevel(c.level);
        EXPECT_EQ(Log::DebugLevelCheck(Log::ZeDebugMsg), c.debug) << c.level;
        EXPECT_EQ(Log::DebugLevelCheck(Log::ZeInfoMsg), c.info) << c.level;
        EXPECT_EQ(Log::DebugLevelCheck(Log::ZeWarningMsg), c.warning) << c.level;
        EXPECT_EQ(Log::DebugLevelCheck(Log::ZeErrorMsg), c.error) << c.level;
        EXPECT_EQ(Log::DebugLevelCheck(type7()), c.seven) << c.level;

        capture.clear();
        Log::debugFormatOutput("e", Log::ZeErrorMsg, false);
        Log::debugFormatOutput("d", Log::ZeDebugMsg, false);
        CZeMessageLogger().error("e%d", 1);
        CZeMessageLogger().warning("w%d", 2);
        CZeMessageLogger().info("i%d", 3);
        CZeMessageLogger().debug("d%d", 4);
        const size_t expected = (c.error ? 2 : 0) + (c.debug ? 2 : 0) + c.warning + c.info;
        EXPECT_EQ(capture.count(), expected) << "level " << c.level;
    }
}

TEST(DebugLogLevels, PrioritiesAndTag)
{
    MessageCapture capture;
    Log::SetDebugLevel(Log::DebugLevelVerbose);
    Log::debugFormatOutput("d", Log::ZeDebugMsg, false);
    Log::debugFormatOutput("i", Log::ZeInfoMsg, false);
    Log::debugFormatOutput("w", Log::ZeWarningMsg, false);
    Log::debugFormatOutput("e", Log::ZeErrorMsg, false);
    Log::debugFormatOutput("7", type7(), false);
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 5u);
    const int priorities[] = {2, 4, 5, 6, 2};
    for (size_t i = 0; i < m.size(); ++i) {
        EXPECT_EQ(m[i].priority, priorities[i]) << m[i].text;
        EXPECT_EQ(m[i].tag, "tavren");
    }
    EXPECT_EQ(m[4].text, "7"); // no line feed added for the system log
}

TEST(DebugLogLevels, PositionPrefix)
{
    MessageCapture capture;
    CZeMessageLogger("file.cpp", 42, "doThing").error("value %d", 7);
    Log::debugFormatOutput("text", Log::ZeWarningMsg, "a.cpp", -3, "f", false);
    CZeMessageLogger().error("bare %s", "message");
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0].text, "file.cpp(42), doThing: value 7");
    EXPECT_EQ(m[0].priority, 6);
    EXPECT_EQ(m[1].text, "a.cpp(-3), f: text");
    EXPECT_EQ(m[2].text, "bare message");
}

TEST(DebugLogLevels, LongTextsAreCut)
{
    MessageCapture capture;
    const std::string big(3000, 'x');
    CZeMessageLogger().error("%s", big.c_str());
    Log::debugFormatOutput("m", Log::ZeErrorMsg, big.c_str(), 1, "f", false);
    Log::debugFormatOutput(big.c_str(), Log::ZeErrorMsg, "f.cpp", 1, "g", false);
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0].text, std::string(1023, 'x'));
    EXPECT_EQ(m[1].text, std::string(1023, 'x') + "m"); // prefix cut at 1023 bytes
    EXPECT_EQ(m[2].text, "f.cpp(1), g: " + big);        // the message itself is not cut
}

TEST(DebugLogLevels, ConsoleGoesToStandardErrorWithLineFeed)
{
    MessageCapture capture;
    Log::SetForceLogToStdOut(true);
    testing::internal::CaptureStderr();
    CZeMessageLogger("c.cpp", 9, "fn").error("to console");
    Log::debugFormatOutput("plain", Log::ZeInfoMsg, false);
    const std::string err = testing::internal::GetCapturedStderr();
    Log::SetForceLogToStdOut(false);
    EXPECT_EQ(err, "c.cpp(9), fn: to console\nplain\n");
    EXPECT_EQ(capture.count(), 2u); // the host's callback sees them all the same
}

} // namespace
