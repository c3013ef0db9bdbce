#include "TextLines.h"

#include <charconv>
#include <cmath>

bool isTextSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string_view trimText(std::string_view s)
{
    while (!s.empty() && isTextSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isTextSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

std::vector<std::string_view> splitTokens(std::string_view line)
{
    std::vector<std::string_view> tokens;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && isTextSpace(line[i]))
            ++i;
        const size_t start = i;
        while (i < line.size() && !isTextSpace(line[i]))
            ++i;
        if (i > start)
            tokens.push_back(line.substr(start, i - start));
    }
    return tokens;
}

std::string upperText(std::string_view word)
{
    std::string out(word);
    for (char& c : out)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return out;
}

namespace {

bool isLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

} // namespace

bool isKeyword(std::string_view token)
{
    double number;
    const auto read = std::from_chars(token.data(), token.data() + token.size(), number);
    if (token.empty() || !isLetter(token[0]) || read.ptr == token.data() + token.size())
        return false;
    for (char c : token)
        if (!(isLetter(c) || (c >= '0' && c <= '9') || c == '_'))
            return false;
    return true;
}

bool parseNumber(std::string_view token, double& value)
{
    std::string_view digits = token;
    if (!digits.empty() && digits[0] == '+')
        digits.remove_prefix(1);
    if (digits.empty() || digits[0] == '+')
        return false;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return result.ec == std::errc() && result.ptr == digits.data() + digits.size()
        && std::isfinite(value);
}

bool forEachLine(std::string_view text,
    const std::function<bool(uint32_t, std::string_view)>& handle, uint32_t& lines,
    uint32_t& tooLongLine)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        text.remove_prefix(3);
    lines = 0;
    tooLongLine = 0;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find_first_of("\r\n", at);
        if (end == std::string_view::npos)
            end = text.size();
        ++lines;
        if (end - at > kTextLineMaxBytes) {
            tooLongLine = lines;
            return false;
        }
        if (!handle(lines, text.substr(at, end - at)))
            return false;
        at = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    return true;
}

bool TextTableReader::refuse(uint32_t line, const std::string& reason)
{
    m_error = m_name + ":" + std::to_string(line) + ": " + reason;
    return false;
}

bool TextTableReader::refuseWhole(const std::string& reason)
{
    m_error = m_name + ": " + reason;
    return false;
}

bool TextTableReader::readLines(std::string_view text,
    const std::function<bool(uint32_t, std::string_view)>& handle, uint32_t& lines)
{
    uint32_t tooLong = 0;
    const bool read = forEachLine(text, handle, lines, tooLong);
    if (tooLong != 0)
        return refuse(tooLong, "line longer than " + std::to_string(kTextLineMaxBytes) + " bytes");
    return read;
}
