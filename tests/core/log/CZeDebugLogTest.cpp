// The debug log: the level gate and priority of every way in, the length
// limits of the emitters, the text of every stream operator, and one emission
// per record however it is copied or reassigned.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "CZeDebugLog.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"
#include "support/TestText.h"

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

// A warning without a source position: the captured text is the stream alone.
Log bare()
{
    return Log(Log::ZeWarningMsg, nullptr, 0, nullptr, false);
}

// Every operand into one message, with '|' units of its own between them:
// the operators add no blanks, quotes or line ends.
TEST(DebugLogStream, TextOfEachOperand)
{
    MessageCapture capture;
    const CZeString digits = L1("0123456789");
    {
        Log log = bare();
        log << CZeStringRef(&digits, 3, 3) << '|' << false << '|' << CZeChar(0x20ac) << '|' << 'x'
            << '\xE9' << '|' << short(SHRT_MIN) << '|' << static_cast<unsigned short>(65535) << '|'
            << INT_MIN << '|' << UINT_MAX << '|' << LONG_MIN << '|' << ULONG_MAX << '|' << -7LL
            << '|' << 7ULL << '|' << 0.1f << '|' << 3.14159265358979 << '|' << 1234567.0 << '|'
            << "caf\xC3\xA9" << static_cast<const char*>(nullptr) << '|' << U16(u"caf\u00e9") << '|'
            << CZeByteArray("a\xE2\x82\xAC") << '|' << nullptr;
    }
    EXPECT_EQ(warning(capture),
        "345|false|\xE2\x82\xAC|x\xC3\xA9|-32768|65535|-2147483648|4294967295|"
        "-9223372036854775808|18446744073709551615|-7|7|0.1|3.14159|1.23457e+06|"
        "caf\xC3\xA9|caf\xC3\xA9|a\xE2\x82\xAC|(nullptr)");
}

// One message per record, when its last owner lets go of it; suppressed and
// inactive loggers never take one.
TEST(DebugLogStream, OneMessagePerRecord)
{
    MessageCapture capture;
    {
        Log target = bare();
        target << "old";
        Log source = bare();
        source << "new";
        target = source; // target was the last owner of "old"
        EXPECT_EQ(onlyWarning(capture), "old");
        Log& alias = target;
        target = alias;
        target << "er";
        Log suppressed(true);
        suppressed = target;
        suppressed << "lost";
        Log copy(suppressed);
        copy << "lost too";
    }
    EXPECT_EQ(onlyWarning(capture), "newer");
    {
        Log emptied = bare();
        emptied << "gone";
        emptied = Log(false);
        emptied << "x" << 1 << short(2) << 2.5 << nullptr << L1("y");
        Log copy = emptied;
        copy << "z";
        Log::SetDebugLevel(Log::DebugLevelError);
        Log closed = CZeMessageLogger().info(); // stays inactive when the level opens
        Log::SetDebugLevel(Log::DebugLevelVerbose);
        closed << "too late";
    }
    EXPECT_EQ(warning(capture), "gone");
}

} // namespace
