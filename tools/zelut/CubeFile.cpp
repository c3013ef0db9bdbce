#include "CubeFile.h"

#include <cmath>

#include "TextLines.h"

namespace {

class CubeParser : TextTableReader {
public:
    CubeParser(const std::string& name, CubeTable& cube, std::string& error)
        : TextTableReader(name, error)
        , m_cube(cube)
    {
    }

    bool parse(std::string_view text)
    {
        m_cube = CubeTable();
        uint32_t lines = 0;
        const bool read = readLines(
            text,
            [this](uint32_t line, std::string_view content) {
                if (line == 1 && !looksLikeCube(content))
                    return refuseWhole("not a .cube table (its first line is neither a "
                                       "keyword, a comment nor a table entry)");
                return parseLine(line, content);
            },
            lines);
        return read && finish(lines);
    }

private:
    // A text file of keywords, comments and numbers starts like one.
    static bool looksLikeCube(std::string_view first)
    {
        const std::string_view t = trimText(first);
        if (t.empty() || t[0] == '#')
            return true;
        for (char c : t)
            if (static_cast<unsigned char>(c) < 0x20 && c != '\t')
                return false;
        const std::vector<std::string_view> tokens = splitTokens(t);
        double number;
        return isKeyword(tokens[0]) || parseNumber(tokens[0], number);
    }

    bool refuseOneDimensional()
    {
        return refuse(m_cube.shaperLine,
            "one-dimensional tables (LUT_1D_SIZE) are not supported; only 3D tables convert");
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
        const std::string_view text = trimText(raw);
        if (text.empty() || text[0] == '#')
            return true;
        const std::vector<std::string_view> tokens = splitTokens(text);
        if (isKeyword(tokens[0]))
            return keyword(line, text, tokens);
        return data(line, tokens);
    }

    bool keyword(uint32_t line, std::string_view text, const std::vector<std::string_view>& tokens)
    {
        const std::string key = upperText(tokens[0]);
        if (!m_cube.values.empty() || !m_cube.shaper.empty())
            return refuse(line, key + " after the table data");
        if (key == "TITLE") {
            std::string_view title = trimText(text.substr(5));
            if (title.size() >= 2 && title.front() == '"' && title.back() == '"')
                title = title.substr(1, title.size() - 2);
            m_cube.title = std::string(title);
            return true;
        }
        if (key == "LUT_1D_SIZE") {
            double size;
            if (!numbers(line, tokens, 1, 1, "LUT_1D_SIZE", &size))
                return false;
            if (size != std::floor(size) || size < 2 || size > 65536)
                return refuse(line, "LUT_1D_SIZE " + std::string(tokens[1]) + " is outside 2 to 65536");
            m_cube.shaperSize = static_cast<uint32_t>(size);
            m_cube.shaperLine = line;
            return true;
        }
        if (key == "LUT_1D_INPUT_RANGE") {
            double range[2];
            if (!numbers(line, tokens, 1, 2, "LUT_1D_INPUT_RANGE", range))
                return false;
            m_cube.shaperMin = range[0];
            m_cube.shaperMax = range[1];
            return true;
        }
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
            if (m_inputRangeSet)
                return refuse(line, key + " and LUT_3D_INPUT_RANGE both set the input range");
            m_domainSet = true;
            double* target = key == "DOMAIN_MIN" ? m_cube.domainMin : m_cube.domainMax;
            m_cube.domainLine = line;
            return numbers(line, tokens, 1, 3, key, target);
        }
        if (key == "LUT_3D_INPUT_RANGE") {
            if (m_domainSet)
                return refuse(line, "LUT_3D_INPUT_RANGE and DOMAIN_MIN/DOMAIN_MAX both set the "
                                    "input range");
            m_inputRangeSet = true;
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
        return refuse(line, "unknown keyword " + std::string(tokens[0]));
    }

    bool data(uint32_t line, const std::vector<std::string_view>& tokens)
    {
        if (m_cube.size == 0 && m_cube.shaperSize != 0)
            return refuseOneDimensional();
        if (m_cube.size == 0)
            return refuse(line, "table data before LUT_3D_SIZE");
        // A shaper's rows come first.
        if (m_cube.shaper.size() < 3 * size_t{m_cube.shaperSize}) {
            double rgb[3];
            if (!numbers(line, tokens, 0, 3, "a shaper entry", rgb))
                return false;
            if (m_cube.shaper.empty())
                m_cube.shaperDataLine = line;
            m_cube.shaper.insert(m_cube.shaper.end(), rgb, rgb + 3);
            return true;
        }
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
        if (m_cube.size == 0 && m_cube.shaperSize != 0)
            return refuseOneDimensional();
        if (m_cube.size == 0) {
            return refuseWhole("no LUT_3D_SIZE line; not a 3D .cube table");
        }
        const size_t expected = static_cast<size_t>(m_cube.size) * m_cube.size * m_cube.size;
        if (m_cube.values.size() != 3 * expected)
            return refuse(lastLine,
                "file ends after " + std::to_string(m_cube.values.size() / 3) + " of "
                    + std::to_string(expected) + " entries (LUT_3D_SIZE "
                    + std::to_string(m_cube.size) + ")");
        return true;
    }

    CubeTable& m_cube;
    bool m_domainSet = false, m_inputRangeSet = false;
};

// The shaper's input where its piecewise-linear curve reaches `y`, for a
// curve already known to increase strictly.
double inverseShaper(const CubeTable& cube, double y)
{
    const uint32_t n = cube.shaperSize;
    const double step = (cube.shaperMax - cube.shaperMin) / (n - 1);
    for (uint32_t i = 1; i < n; ++i) {
        const double y0 = cube.shaper[3 * (i - 1)], y1 = cube.shaper[3 * i];
        if (y <= y1 || i == n - 1) {
            const double t = (y - y0) / (y1 - y0);
            return cube.shaperMin + step * (i - 1 + t);
        }
    }
    return cube.shaperMax;
}

// Levels from a shared, increasing shaper; false with a reason otherwise.
bool levelsFromShaper(const CubeTable& cube, const std::string& name, LutTable& lut,
                      std::string& error)
{
    const uint32_t n = cube.shaperSize;
    for (uint32_t i = 0; i < n; ++i) {
        const double* row = &cube.shaper[3 * i];
        const std::string where = name + ":" + std::to_string(cube.shaperDataLine + i) + ": ";
        if (row[0] != row[1] || row[0] != row[2]) {
            error = where + "the shaper differs between channels; only one curve shared by "
                            "all three becomes the levels";
            return false;
        }
        if (i > 0 && !(row[0] > cube.shaper[3 * (i - 1)])) {
            error = where + "the shaper does not increase";
            return false;
        }
    }
    // The shaper's outputs are the 3D table's inputs: grid node k sits at
    // lo + (hi - lo) k / (size - 1) of the 3D domain.
    const double first = cube.shaper[0], last = cube.shaper[3 * (n - 1)];
    const double lo = cube.domainMin[0], hi = cube.domainMax[0];
    lut.levels.resize(cube.size);
    for (uint32_t k = 0; k < cube.size; ++k) {
        const double node = lo + (hi - lo) * k / (cube.size - 1);
        if (node < first || node > last) {
            error = name + ":" + std::to_string(cube.shaperLine) +
                    ": the shaper does not reach every node of the 3D grid";
            return false;
        }
        lut.levels[k] = static_cast<float>(inverseShaper(cube, node));
    }
    return true;
}

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
    if (cube.shaperSize != 0) {
        if (!levelsFromShaper(cube, name, lut, error))
            return false;
    } else if (lo == 0.0 && hi == 1.0) {
        lut.levels = unitLevels(n); // bit-identical to what the library calls uniform
    } else {
        lut.levels.resize(n);
        for (uint32_t i = 0; i < n; ++i)
            lut.levels[i] = static_cast<float>(lo + (hi - lo) * i / (n - 1));
    }
    // As 32-bit floats the levels must stay finite and strictly increasing.
    for (uint32_t i = 0; i < n; ++i)
        if (!std::isfinite(lut.levels[i]) || (i > 0 && !(lut.levels[i] > lut.levels[i - 1]))) {
            error = (cube.shaperSize ? name + ":" + std::to_string(cube.shaperLine) + ": " : where) +
                    "the input levels are not finite and strictly increasing as 32-bit floats";
            return false;
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
