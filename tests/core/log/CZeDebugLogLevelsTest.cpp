// Level gate and priorities of every way into the log, and the length limits
// of the emitters.
#include <gtest/gtest.h>

#include <string>

#include "CZeDebugLog.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"

namespace {

using Log = CZeDebugLog;

// At each level, one message of every type straight to the emitter (D), through
// the printf-style entries (P) and through the stream entries (S); each passing
// message is listed with its priority.
TEST(DebugLogLevels, GateAndPriorityOfEveryEntry)
{
    MessageCapture capture;
    const Log::ZeMessageType seven = static_cast<Log::ZeMessageType>(7);
    const struct {
        Log::DebugLevel level;
        const char* passing;
    } rows[] = {
        { Log::DebugLevelNone, "" },
        { Log::DebugLevelError, "D6 P6 S6 " },
        { Log::DebugLevelWarning, "D6 D5 P6 P5 S6 S5 " },
        { Log::DebugLevelInfo, "D6 D5 D4 P6 P5 P4 S6 S5 S4 " },
        { Log::DebugLevelVerbose, "D6 D5 D4 D2 D2 P6 P5 P4 P2 S6 S5 S4 S2 " },
    };
    const CZeMessageLogger bare;
    for (const auto& row : rows) {
        SCOPED_TRACE("level " + std::to_string(row.level));
        Log::SetDebugLevel(row.level);
        capture.clear();
        for (Log::ZeMessageType type :
            { Log::ZeErrorMsg, Log::ZeWarningMsg, Log::ZeInfoMsg, Log::ZeDebugMsg, seven })
            Log::debugFormatOutput("D", type, false);
        bare.error("%c", 'P');
        bare.warning("%c", 'P');
        bare.info("%c", 'P');
        bare.debug("%c", 'P');
        bare.error() << 'S';
        bare.warning() << 'S';
        bare.info() << 'S';
        bare.debug() << 'S';
        std::string passing;
        for (const CapturedMessage& m : capture.messages()) {
            passing += m.text + std::to_string(m.priority) + " "; // no line feed added
            EXPECT_EQ(m.tag, "tavren");
        }
        EXPECT_EQ(passing, row.passing);
    }
    Log::SetDebugLevel(Log::DebugLevelError);
    Log::SetDebugLevel(static_cast<Log::DebugLevel>(5)); // out of range: ignored
    EXPECT_FALSE(Log::DebugLevelCheck(Log::ZeWarningMsg));
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
    EXPECT_EQ(m[1].text, std::string(1023, 'x') + "m"); // the prefix is cut at 1023 bytes
    EXPECT_EQ(m[2].text, "f.cpp(1), g: " + big); // the message itself is not
}

} // namespace
