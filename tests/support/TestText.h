/*
 * Small conversions and file-system looks shared by the core's tests.
 *
 *   EXPECT_EQ(utf8(CZeDir::tempPath()), "/tmp");
 *   EXPECT_EQ(warning(capture), "CZeFile::open: ...");   // the one message, a warning
 */
#ifndef TESTS_SUPPORT_TESTTEXT_H
#define TESTS_SUPPORT_TESTTEXT_H

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "CZeString.h"
#include "support/MessageCapture.h"

inline CZeString name(const std::string& utf8Path)
{
    return CZeString::fromUtf8(utf8Path.c_str());
}

inline CZeString L1(const char* text)
{
    return CZeString::fromLatin1(text);
}

inline CZeString U16(const char16_t* text)
{
    return CZeString::fromUtf16(text);
}

inline std::string text(const CZeByteArray& a)
{
    return std::string(a.constData(), static_cast<size_t>(a.size()));
}

inline std::string utf8(const CZeString& s)
{
    return text(s.toUtf8());
}

inline std::string latin(const CZeString& s)
{
    return text(s.toLatin1());
}

inline std::u16string u16(const CZeString& s)
{
    return std::u16string(reinterpret_cast<const char16_t*>(s.unicode()), size_t(s.size()));
}

// The text (a string as Latin-1), or <null>: a null result and an empty one
// differ.
inline std::string shown(const CZeByteArray& a)
{
    return a.isNull() ? "<null>" : text(a);
}

inline std::string shown(const CZeString& s)
{
    return s.isNull() ? "<null>" : latin(s);
}

// A string of the units given one by one (lone surrogates cannot be written as
// literals); no units give an empty string that is not null.
inline CZeString units(std::initializer_list<unsigned short> list)
{
    return list.size() ? CZeString::fromUtf16(list.begin(), int(list.size()))
                       : CZeString::fromUtf16(u"");
}

// Every block that is not raw keeps a 0 element behind its last one.
inline bool terminated(const CZeByteArray& a)
{
    return a.constData()[a.size()] == '\0';
}

inline bool terminated(const CZeString& s)
{
    return s.unicode()[s.size()].unicode() == 0;
}

// The one captured message, which must be a warning.
inline std::string warning(const MessageCapture& capture)
{
    const auto m = capture.messages();
    EXPECT_EQ(m.size(), 1u);
    if (m.size() != 1)
        return "<" + std::to_string(m.size()) + " messages>";
    EXPECT_EQ(m[0].priority, 5);
    return m[0].text;
}

// The same, and the capture is emptied for the next one.
inline std::string onlyWarning(MessageCapture& capture)
{
    const std::string text = warning(capture);
    capture.clear();
    return text;
}

// The texts of all captured messages, in order.
inline std::vector<std::string> messageTexts(const MessageCapture& capture)
{
    std::vector<std::string> result;
    for (const CapturedMessage& m : capture.messages())
        result.push_back(m.text);
    return result;
}

inline bool present(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

inline bool isDir(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

inline struct stat statOf(const std::string& path)
{
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st;
}

#endif
