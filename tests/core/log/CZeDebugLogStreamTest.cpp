// The streaming debug log: the text of every stream operator, and one
// emission per record however it is copied or reassigned.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "CZeDebugLog.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"
#include "support/TestText.h"

namespace {

using Log = CZeDebugLog;

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
