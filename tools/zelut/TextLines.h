/*
 * Line and number reading shared by the text table readers (.cube, .3dl).
 *
 *   bool ok = forEachLine(text, [&](uint32_t line, std::string_view content) {
 *       return handle(line, splitTokens(content));
 *   }, tooLong);                     // false: a handler refused, or a line was too long
 *
 * A UTF-8 byte-order mark is skipped; LF, CRLF and a lone CR all end a line.
 * Numbers are read without the locale: 0.5 is a half everywhere.
 */
#ifndef ZELUT_TEXTLINES_H
#define ZELUT_TEXTLINES_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Longest line a table file may have, in bytes: three numbers need far less,
// and a bound keeps a hostile file from costing memory per line.
constexpr size_t kTextLineMaxBytes = 4096;
// Largest table text read: a 65-level .cube with a 65536-row shaper, in long
// decimals, is under 20 MB.
constexpr uint64_t kTextTableMaxBytes = 64u << 20;

bool isTextSpace(char c);
std::string_view trimText(std::string_view s);
std::vector<std::string_view> splitTokens(std::string_view line);
std::string upperText(std::string_view word);

// A word that starts with a letter and is not a number such as "nan".
bool isKeyword(std::string_view token);

// Whole token, finite, no locale; a leading '+' allowed.
bool parseNumber(std::string_view token, double& value);

// Calls handle(line number from 1, line without its end) for each line, in
// order, until it returns false. A line longer than kTextLineMaxBytes stops
// the walk with tooLongLine set to its number. Returns true when every line
// was handled; lines counts them.
bool forEachLine(std::string_view text,
    const std::function<bool(uint32_t, std::string_view)>& handle, uint32_t& lines,
    uint32_t& tooLongLine);

// What the text table readers share: their refusals, "NAME:LINE: reason" or
// "NAME: reason" in the caller's error text, and the walk over the lines with
// the line-length refusal.
class TextTableReader {
protected:
    TextTableReader(const std::string& name, std::string& error)
        : m_name(name)
        , m_error(error)
    {
    }

    bool refuse(uint32_t line, const std::string& reason);
    bool refuseWhole(const std::string& reason);
    // forEachLine, with an over-long line refused; lines counts the lines.
    bool readLines(std::string_view text,
        const std::function<bool(uint32_t, std::string_view)>& handle, uint32_t& lines);

    const std::string& m_name;
    std::string& m_error;
};

#endif
