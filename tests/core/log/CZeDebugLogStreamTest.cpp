// The streaming debug log: the text of every stream operator, one emission
// per record however it is copied or reassigned, prefixes, gates of the
// stream entries, and inactive and suppressed loggers.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "CZeDebugLog.h"
#include "core/log/CZeMessageLogger.h"
#include "support/MessageCapture.h"

namespace {

using Log = CZeDebugLog;

// A logger without a source position, so the captured text is the stream alone.
Log bare(Log::ZeMessageType type = Log::ZeInfoMsg)
{
    return Log(type, nullptr, 0, nullptr, false);
}

std::string only(const MessageCapture& capture)
{
    const auto m = capture.messages();
    EXPECT_EQ(m.size(), 1u);
    return m.empty() ? std::string("<none>") : m[0].text;
}

TEST(DebugLogStream, TextOfEachOperand)
{
    MessageCapture capture;
    const CZeString text = CZeString::fromUtf8("caf\xC3\xA9");
    const CZeString digits = CZeString::fromLatin1("0123456789");
    struct Case {
        std::string expected;
        void (*stream)(Log&, const CZeString&, const CZeString&);
    } cases[] = {
        {"\xE2\x82\xAC", [](Log& l, const CZeString&, const CZeString&) { l << CZeChar(0x20ac); }},
        {"false", [](Log& l, const CZeString&, const CZeString&) { l << false; }},
        {"x\xC3\xA9", [](Log& l, const CZeString&, const CZeString&) { l << 'x' << '\xE9'; }},
        {"-32768", [](Log& l, const CZeString&, const CZeString&) { l << short(SHRT_MIN); }},
        {"65535", [](Log& l, const CZeString&, const CZeString&) { l << static_cast<unsigned short>(65535); }},
        {"-2147483648", [](Log& l, const CZeString&, const CZeString&) { l << INT_MIN; }},
        {"4294967295", [](Log& l, const CZeString&, const CZeString&) { l << UINT_MAX; }},
        {"-9223372036854775808", [](Log& l, const CZeString&, const CZeString&) { l << LONG_MIN; }},
        {"18446744073709551615", [](Log& l, const CZeString&, const CZeString&) { l << ULONG_MAX; }},
        {"-7", [](Log& l, const CZeString&, const CZeString&) { l << -7LL; }},
        {"0.1", [](Log& l, const CZeString&, const CZeString&) { l << 0.1f; }},
        {"3.14159", [](Log& l, const CZeString&, const CZeString&) { l << 3.14159265358979; }},
        {"1.23457e+06", [](Log& l, const CZeString&, const CZeString&) { l << 1234567.0; }},
        {"caf\xC3\xA9", [](Log& l, const CZeString&, const CZeString&) { l << "caf\xC3\xA9"; }},
        {"", [](Log& l, const CZeString&, const CZeString&) { l << static_cast<const char*>(nullptr); }},
        {"caf\xC3\xA9", [](Log& l, const CZeString& t, const CZeString&) { l << t; }},
        {"a\xE2\x82\xAC", [](Log& l, const CZeString&, const CZeString&) { l << CZeByteArray("a\xE2\x82\xAC"); }},
        {"345", [](Log& l, const CZeString&, const CZeString& d) { l << CZeStringRef(&d, 3, 3); }},
        {"(nullptr)", [](Log& l, const CZeString&, const CZeString&) { l << nullptr; }},
    };
    for (const Case& c : cases) {
        capture.clear();
        {
            Log log = bare();
            c.stream(log, text, digits);
        }
        EXPECT_EQ(only(capture), c.expected);
    }
}

TEST(DebugLogStream, AssignmentDropsTheOldRecordFirst)
{
    MessageCapture capture;
    {
        Log target = bare();
        target << "old";
        Log source = bare();
        source << "new";
        target = source; // target was the last owner of "old": emitted now
        EXPECT_EQ(only(capture), "old");
        Log& alias = target;
        target = alias; // self-assignment keeps the record
        target << "er";
        capture.clear();
    }
    EXPECT_EQ(only(capture), "newer");

    capture.clear();
    {
        Log emptied = bare();
        emptied << "gone";
        emptied = Log(false); // assigning an inactive logger emits and deactivates
        emptied << "ignored";
    }
    EXPECT_EQ(only(capture), "gone");
}

TEST(DebugLogStream, SuppressedAndInactiveLoggersStayQuiet)
{
    MessageCapture capture;
    {
        Log suppressed(true);
        Log active = bare();
        active << "kept";
        suppressed = active; // a suppressed target never takes a record
        suppressed << "lost";
        Log copy(suppressed);
        copy << "lost too";
    }
    EXPECT_EQ(only(capture), "kept");

    capture.clear();
    {
        Log inactive(false);
        inactive << "x" << 1 << short(2) << 2.5 << nullptr << CZeString::fromUtf8("y");
        Log copy = inactive;
        copy << "z";
    }
    EXPECT_EQ(capture.count(), 0u);
}

TEST(DebugLogStream, EntriesAreGatedByLevel)
{
    MessageCapture capture;
    struct Case {
        Log::DebugLevel level;
        size_t expected; // of error, warning, info, debug
    } cases[] = {
        {Log::DebugLevelNone, 0},    {Log::DebugLevelError, 1}, {Log::DebugLevelWarning, 2},
        {Log::DebugLevelInfo, 3},    {Log::DebugLevelVerbose, 4},
    };
    const CZeMessageLogger at("entry.cpp", 7, "fn");
    for (const Case& c : cases) {
        Log::SetDebugLevel(c.level);
        capture.clear();
        at.error() << "e";
        at.warning() << "w";
        at.info() << "i";
        at.debug() << "d";
        EXPECT_EQ(capture.count(), c.expected) << "level " << c.level;
    }
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 4u);
    EXPECT_EQ(m[0].text, "entry.cpp(7), fn: e");
    EXPECT_EQ(m[0].priority, 6);
    EXPECT_EQ(m[1].priority, 5);
    EXPECT_EQ(m[2].priority, 4);
    EXPECT_EQ(m[3].text, "entry.cpp(7), fn: d");
    EXPECT_EQ(m[3].priority, 2);

    // A closed entry hands out an inactive logger: nothing is recorded later
    // even when the level opens before it goes away.
    capture.clear();
    Log::SetDebugLevel(Log::DebugLevelError);
    {
        Log closed = at.info();
        Log::SetDebugLevel(Log::DebugLevelVerbose);
        closed << "too late";
    }
    EXPECT_EQ(capture.count(), 0u);
}

} // namespace
