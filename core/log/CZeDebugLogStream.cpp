// The streaming side of CZeDebugLog: a message record shared by the copies of
// one logger, emitted through the message emitters when the last copy drops
// it, and the stream entries of CZeMessageLogger.
#include "CZeDebugLog.h"

#include <new>

#include "core/log/CZeMessageLogger.h"

CZeDebugLog::CZeDebugLog(ZeMessageType type, const char* file, int line, const char* function,
                         bool saveToFile)
    : m_stream(new (std::nothrow) CZeDebugLogStream(type, file, line, function, saveToFile)),
      m_suppressed(false)
{
}

CZeDebugLog::CZeDebugLog(bool suppressed) : m_stream(nullptr), m_suppressed(suppressed) {}

CZeDebugLog::CZeDebugLog(const CZeDebugLog& other)
    : m_stream(other.m_stream), m_suppressed(other.m_suppressed)
{
    if (m_stream)
        ++m_stream->ref;
}

CZeDebugLog& CZeDebugLog::operator=(const CZeDebugLog& other)
{
    if (this == &other)
        return *this; // dropping first would emit the message early
    DropStream();
    if (other.m_stream && !m_suppressed) {
        m_stream = other.m_stream;
        ++m_stream->ref;
    }
    return *this;
}

CZeDebugLog::~CZeDebugLog()
{
    DropStream();
}

void CZeDebugLog::DropStream()
{
    if (!m_stream || m_suppressed)
        return;
    CZeDebugLogStream* stream = m_stream;
    m_stream = nullptr;
    if (--stream->ref > 0)
        return;
    if (stream->output) {
        const CZeByteArray text = stream->buffer.toLocal8Bit();
        if (stream->file)
            debugFormatOutput(text.constData(), stream->type, stream->file, stream->line,
                              stream->function, stream->saveToFile);
        else
            debugFormatOutput(text.constData(), stream->type, stream->saveToFile);
    }
    delete stream;
}

CZeDebugLog& CZeDebugLog::operator<<(CZeChar ch)
{
    if (isActive())
        m_stream->buffer.append(ch);
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(bool value)
{
    if (isActive())
        m_stream->buffer.append(value ? CZeLatin1String("true", 4) : CZeLatin1String("false", 5));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(char ch)
{
    if (isActive())
        m_stream->buffer.append(CZeChar(ch));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(short value)
{
    // Formatted whatever the state of the logger; appended only when a record exists.
    const CZeString text = CZeString::number(static_cast<int>(value));
    if (m_stream)
        m_stream->buffer.append(text);
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(unsigned short value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(static_cast<unsigned int>(value)));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(int value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(value));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(unsigned int value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(value));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(long value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(static_cast<long long>(value)));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(unsigned long value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(static_cast<unsigned long long>(value)));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(long long value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(value));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(unsigned long long value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(value));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(float value)
{
    return *this << static_cast<double>(value);
}

CZeDebugLog& CZeDebugLog::operator<<(double value)
{
    if (isActive())
        m_stream->buffer.append(CZeString::number(value, 'g', 6));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(const char* utf8)
{
    if (isActive() && utf8)
        m_stream->buffer.append(CZeString::fromUtf8(utf8));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(const CZeString& text)
{
    if (isActive())
        m_stream->buffer.append(text);
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(const CZeByteArray& utf8)
{
    if (isActive())
        m_stream->buffer.append(CZeString::fromUtf8(utf8.constData(), utf8.size()));
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(const CZeStringRef& text)
{
    if (isActive())
        m_stream->buffer.append(text);
    return *this;
}

CZeDebugLog& CZeDebugLog::operator<<(std::nullptr_t)
{
    if (isActive())
        m_stream->buffer.append(CZeLatin1String("(nullptr)", 9));
    return *this;
}

// ---- Stream entries of the call-site carrier --------------------------------

namespace {

int currentLevel()
{
    return static_cast<int>(CZeDebugLog::m_debugLevel);
}

} // namespace

CZeDebugLog CZeMessageLogger::error() const
{
    if (currentLevel() == 0)
        return CZeDebugLog(false);
    return CZeDebugLog(CZeDebugLog::ZeErrorMsg, m_file, m_line, m_function, m_saveToFile);
}

CZeDebugLog CZeMessageLogger::warning() const
{
    if (currentLevel() < 2)
        return CZeDebugLog(false);
    return CZeDebugLog(CZeDebugLog::ZeWarningMsg, m_file, m_line, m_function, m_saveToFile);
}

CZeDebugLog CZeMessageLogger::info() const
{
    if (currentLevel() < 3)
        return CZeDebugLog(false);
    return CZeDebugLog(CZeDebugLog::ZeInfoMsg, m_file, m_line, m_function, m_saveToFile);
}

CZeDebugLog CZeMessageLogger::debug() const
{
    if (currentLevel() < 4)
        return CZeDebugLog(false);
    return CZeDebugLog(CZeDebugLog::ZeDebugMsg, m_file, m_line, m_function, m_saveToFile);
}
