// The streaming debug log: the text of every stream operator, and one
// emission per record however it is copied or reassigned.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
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

TEST(DebugLogStream, TextOfEachOperand)
{
    MessageCapture capture;
    const CZeString text = CZeString::fromUtf8("caf\xC3\xA9");
    const CZeString digits = L1("0123456789");
    const struct {
        const char* expected;
        std::function<void(Log&)> stream;
    } rows[] = {
        { "\xE2\x82\xAC", [](Log& l) { l << CZeChar(0x20ac); } },
        { "false", [](Log& l) { l << false; } },
        { "x\xC3\xA9", [](Log& l) { l << 'x' << '\xE9'; } }, // no separator between items
        { "-32768", [](Log& l) { l << short(SHRT_MIN); } },
        { "65535", [](Log& l) { l << static_cast<unsigned short>(65535); } },
        { "-2147483648", [](Log& l) { l << INT_MIN; } },
        { "4294967295", [](Log& l) { l << UINT_MAX; } },
        { "-9223372036854775808", [](Log& l) { l << LONG_MIN; } },
        { "18446744073709551615", [](Log& l) { l << ULONG_MAX; } },
        { "-7", [](Log& l) { l << -7LL; } },
        { "0.1", [](Log& l) { l << 0.1f; } },
        { "3.14159", [](Log& l) { l << 3.14159265358979; } },
        { "1.23457e+06", [](Log& l) { l << 1234567.0; } },
        { "caf\xC3\xA9", [](Log& l) { l << "caf\xC3\xA9"; } },
        { "", [](Log& l) { l << static_cast<const char*>(nullptr); } },
        { "caf\xC3\xA9", [&](Log& l) { l << text; } },
        { "a\xE2\x82\xAC", [](Log& l) { l << CZeByteArray("a\xE2\x82\xAC"); } },
        { "345", [&](Log& l) { l << CZeStringRef(&digits, 3, 3); } },
        { "(nullptr)", [](Log& l) { l << nullptr; } },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        capture.clear();
        {
            Log log = bare();
            row.stream(log);
        }
        EXPECT_EQ(warning(capture), row.expected);
    }
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
