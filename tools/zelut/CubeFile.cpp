#include "CubeFile.h"

#include <charconv>
#include <cmath>

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::vector<std::string_view> splitTokens(std::string_view line)
{
    std::vector<std::string_view> tokens;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && isSpace(line[i]))
            ++i;
        const size_t start = i;
        while (i < line.size() && !isSpace(line[i]))
            ++i;
        if (i > start)
            tokens.push_back(line.substr(start, i - start));
    }
    return tokens;
}

std::string_view trim(std::string_view s)
{
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

// A keyword is an upper-case word such as LUT_3D_SIZE; anything else on a
// line of its own is taken as table data.
bool isKeyword(std::string_view token)
{
    if (token.empty() || token[0] < 'A' || token[0] > 'Z')
        return false;
    for (char c : token)
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'))
            return false;
    return true;
}

// Locale-independent, whole-token, finite numbers only.
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

class CubeParser {
public:
    CubeParser(const std::string& name, CubeTable& cube, std::string& error)
        : m_name(name)
        , m_cube(cube)
        , m_error(error)
    {
    }

    bool parse(std::string_view text)
    {
        m_cube = CubeTable();
        uint32_t line = 0;
        size_t at = 0;
        while (at < text.size()) {
            size_t end = text.find('\n', at);
            if (end == std::string_view::npos)
                end = text.size();
            ++line;
            if (!parseLine(line, text.substr(at, end - at)))
                return false;
            at = end + 1;
        }
        return finish(line);
    }

private:
    bool refuse(uint32_t line, const std::string& reason)
    {
        m_error = m_name + ":" + std::to_string(line) + ": " + reason;
        return false;
    }

    bool numbers(uint32_t line, const std::vector<std::string_view>& tokens, size_t first,
        size_t count, const std::string& what, double* out)
    {
        const size_t found = tokens.size() - first;
        if (found != count)
            return refuse(line,
                what + " expects " + std::to_string(count)
                    + (count == 1 ? " number, found " : " numbers, found ")
                    + std::to_string(found));
        for (size_t i = 0; i < count; ++i)
            if (!parseNumber(tokens[first + i], out[i]))
                return refuse(line, "'" + std::string(tokens[first + i]) + "' is not a number");
        return true;
    }

    bool parseLine(uint32_t line, std::string_view raw)
    {
        const std::string_view text = trim(raw);
        if (text.empty() || text[0] == '#')
            return true;
        const std::vector<std::string_view> tokens = splitTokens(text);
        if (isKeyword(tokens[0]))
            return keyword(line, text, tokens);
        return data(line, tokens);
    }

    bool keyword(uint32_t line, std::string_view text, const std::vector<std::string_view>& tokens)
    {
        const std::string_view key = tokens[0];
        if (!m_cube.values.empty())
            return refuse(line, std::string(key) + " after the table data");
        if (key == "TITLE") {
            std::string_view title = trim(text.substr(5));
            if (title.size() >= 2 && title.front() == '"' && title.back() == '"')
                title = title.substr(1, title.size() - 2);
            m_cube.title = std::string(title);
            return true;
        }
        if (key == "LUT_1D_SIZE")
            return refuse(line,
                "one-dimensional tables (LUT_1D_SIZE) are not supported; "
                "only 3D tables convert");
        if (key == "LUT_3D_SIZE") {
            if (m_cube.size != 0)
                return refuse(line, "LUT_3D_SIZE given twice");
            double size;
            if (!numbers(line, tokens, 1, 1, "LUT_3D_SIZE", &size))
                return false;
            if (size != std::floor(size))
                return refuse(line, "LUT_3D_SIZE must be a whole number");
            if (size < kCubeMinSize || size > kCubeMaxSize)
                return refuse(
                    line, "LUT_3D_SIZE " + std::string(tokens[1]) + " is outside 2 to 65");
            m_cube.size = static_cast<uint32_t>(size);
            return true;
        }
        if (key == "DOMAIN_MIN" || key == "DOMAIN_MAX") {
            double* target = key == "DOMAIN_MIN" ? m_cube.domainMin : m_cube.domainMax;
            m_cube.domainLine = line;
            return numbers(line, tokens, 1, 3, std::string(key), target);
        }
        if (key == "LUT_3D_INPUT_RANGE") {
            double range[2];
            if (!numbers(line, tokens, 1, 2, "LUT_3D_INPUT_RANGE", range))
                return false;
            for (int c = 0; c < 3; ++c) {
                m_cube.domainMin[c] = range[0];
                m_cube.domainMax[c] = range[1];
            }
            m_cube.domainLine = line;
            return true;
        }
        return refuse(line, "unknown keyword " + std::string(key));
    }

    bool data(uint32_t line, const std::vector<std::string_view>& tokens)
    {
        if (m_cube.size == 0)
            return refuse(line, "table data before LUT_3D_SIZE");
        const size_t expected = static_cast<size_t>(m_cube.size) * m_cube.size * m_cube.size;
        if (m_cube.values.size() == 3 * expected)
            return refuse(line,
                "more entries than LUT_3D_SIZE " + std::to_string(m_cube.size) + " allows ("
                    + std::to_string(expected) + ")");
        double rgb[3];
        if (!numbers(line, tokens, 0, 3, "a table entry", rgb))
            return false;
        if (m_cube.values.empty())
            m_cube.values.reserve(3 * expected);
        m_cube.values.insert(m_cube.values.end(), rgb, rgb + 3);
        return true;
    }

    bool finish(uint32_t lastLine)
    {
        if (m_cube.size == 0) {
            m_error = m_name + ": no LUT_3D_SIZE line; not a 3D .cube table";
            return false;
        }
        const size_t expected = static_cast<size_t>(m_cube.size) * m_cube.size * m_cube.size;
        if (m_cube.values.size() != 3 * expected)
            return refuse(lastLine,
                "file ends after " + std::to_string(m_cube.values.size() / 3) + " of "
                    + std::to_string(expected) + " entries (LUT_3D_SIZE "
                    + std::to_string(m_cube.size) + ")");
        return true;
    }

    const std::string& m_name;
    CubeTable& m_cube;
    std::string& m_error;
};

} // namespace

bool parseCube(std::string_view text, const std::string& name, CubeTable& cube, std::string& error)
{
    return CubeParser(name, cube, error).parse(text);
}

bool cubeToLut(const CubeTable& cube, const std::string& name, LutTable& lut, std::string& error)
{
    const std::string where = name + ":" + std::to_string(cube.domainLine) + ": ";
    const double lo = cube.domainMin[0];
    const double hi = cube.domainMax[0];
    for (int c = 1; c < 3; ++c)
        if (cube.domainMin[c] != lo || cube.domainMax[c] != hi) {
            error = where
                + "the domain differs between channels; a LUT file has one set of "
                  "levels for all three axes";
            return false;
        }
    if (!(hi > lo)) {
        error = where + "DOMAIN_MAX must be above DOMAIN_MIN";
        return false;
    }
    const uint32_t n = cube.size;
    lut.n = n;
    if (lo == 0.0 && hi == 1.0) {
        lut.levels = unitLevels(n); // bit-identical to what the library calls uniform
    } else {
        lut.levels.resize(n);
        for (uint32_t i = 0; i < n; ++i)
            lut.levels[i] = static_cast<float>(lo + (hi - lo) * i / (n - 1));
    }
    lut.entries.assign(3u * n * n * n, 0);
    size_t source = 0;
    for (uint32_t b = 0; b < n; ++b)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t r = 0; r < n; ++r, source += 3) {
                uint8_t* cell = &lut.entries[3 * ((static_cast<size_t>(r) * n + g) * n + b)];
                for (int c = 0; c < 3; ++c)
                    cell[c] = lutByte(cube.values[source + c]);
            }
    return true;
}
