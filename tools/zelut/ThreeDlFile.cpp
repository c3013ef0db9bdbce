#include "ThreeDlFile.h"

#include <cmath>

#include "TextLines.h"

namespace {

// The smallest all-ones value of `from` to 16 bits (every other depth when
// `even`) that is at least `value`; 0 when none is.
uint32_t scaleFor(double value, int from, bool even)
{
    for (int bits = from; bits <= 16; bits += even ? 2 : 1)
        if (value <= (1u << bits) - 1)
            return (1u << bits) - 1;
    return 0;
}

class ThreeDlParser : TextTableReader {
public:
    ThreeDlParser(const std::string& name, LutTable& lut, std::string& error)
        : TextTableReader(name, error)
        , m_lut(lut)
    {
    }

    bool parse(std::string_view text)
    {
        m_lut = LutTable();
        uint32_t lines = 0;
        const bool read = readLines(
            text, [this](uint32_t line, std::string_view content) { return parseLine(line, content); },
            lines);
        return read && finish(lines);
    }

private:
    // Whole numbers from 0 to 65535.
    bool integers(uint32_t line, const std::vector<std::string_view>& tokens, double* out)
    {
        for (size_t i = 0; i < tokens.size(); ++i)
            if (!parseNumber(tokens[i], out[i]) || out[i] != std::floor(out[i]) || out[i] < 0
                || out[i] > 65535)
                return refuse(line, "'" + std::string(tokens[i]) + "' is not a whole number from 0 to 65535");
        return true;
    }

    bool parseLine(uint32_t line, std::string_view raw)
    {
        const std::string_view text = trimText(raw);
        if (text.empty() || text[0] == '#')
            return true;
        const std::vector<std::string_view> tokens = splitTokens(text);
        if (isKeyword(tokens[0]) || upperText(tokens[0]) == "3DMESH")
            return keyword(line, tokens);
        if (m_lut.n == 0)
            return mesh(line, tokens);
        return entry(line, tokens);
    }

    bool keyword(uint32_t line, const std::vector<std::string_view>& tokens)
    {
        const std::string key = upperText(tokens[0]);
        if (m_lut.n != 0)
            return refuse(line, key + " after the mesh line");
        if (key == "3DMESH" || key == "GAMMA" || key == "LUT8")
            return true;
        if (key == "MESH") {
            double depth[2];
            if (tokens.size() != 3)
                return refuse(line, "Mesh expects 2 numbers, found " + std::to_string(tokens.size() - 1));
            if (!integers(line, { tokens[1], tokens[2] }, depth))
                return false;
            if (depth[1] < 8 || depth[1] > 16)
                return refuse(line, "output depth " + std::string(tokens[2]) + " is outside 8 to 16 bits");
            m_outputScale = (1u << static_cast<int>(depth[1])) - 1;
            return true;
        }
        return refuse(line, "unknown keyword " + std::string(tokens[0]));
    }

    bool mesh(uint32_t line, const std::vector<std::string_view>& tokens)
    {
        if (tokens.size() < 2 || tokens.size() > kLut3DMaxLevels)
            return refuse(line, "the mesh line has " + std::to_string(tokens.size())
                    + " values; a table has 2 to 65 levels");
        std::vector<double> mesh(tokens.size());
        if (!integers(line, tokens, mesh.data()))
            return false;
        for (size_t i = 1; i < mesh.size(); ++i)
            if (!(mesh[i] > mesh[i - 1]))
                return refuse(line, "the mesh values do not increase");
        m_inputScale = scaleFor(mesh.back(), 8, false);
        m_lut.n = static_cast<uint32_t>(mesh.size());
        for (double v : mesh)
            m_lut.levels.push_back(static_cast<float>(v / m_inputScale));
        m_meshLine = line;
        m_outputs.reserve(3u * m_lut.n * m_lut.n * m_lut.n);
        return true;
    }

    bool entry(uint32_t line, const std::vector<std::string_view>& tokens)
    {
        const size_t expected = size_t{ m_lut.n } * m_lut.n * m_lut.n;
        if (m_outputs.size() == 3 * expected)
            return refuse(line, "more entries than the mesh's " + std::to_string(m_lut.n)
                    + " levels allow (" + std::to_string(expected) + ")");
        if (tokens.size() != 3)
            return refuse(line, "a table entry expects 3 numbers, found " + std::to_string(tokens.size()));
        double rgb[3];
        if (!integers(line, tokens, rgb))
            return false;
        m_outputs.insert(m_outputs.end(), rgb, rgb + 3);
        return true;
    }

    bool finish(uint32_t lastLine)
    {
        if (m_lut.n == 0) {
            return refuseWhole("no mesh line; not a .3dl table");
        }
        const size_t expected = size_t{ m_lut.n } * m_lut.n * m_lut.n;
        if (m_outputs.size() != 3 * expected)
            return refuse(lastLine, "file ends after " + std::to_string(m_outputs.size() / 3) + " of "
                    + std::to_string(expected) + " entries (" + std::to_string(m_lut.n) + " levels)");
        double largest = 0;
        for (double v : m_outputs)
            largest = std::max(largest, v);
        uint32_t scale = m_outputScale;
        if (scale == 0)
            scale = scaleFor(std::max(largest, double(m_inputScale)), m_inputScale == 255 ? 8 : 10, true);
        if (largest > scale)
            return refuse(m_meshLine, "outputs reach " + std::to_string(static_cast<uint32_t>(largest))
                    + ", above the " + std::to_string(scale) + " of the Mesh line's depth");
        m_lut.entries.resize(m_outputs.size());
        for (size_t i = 0; i < m_outputs.size(); ++i)
            m_lut.entries[i] = lutByte(m_outputs[i] / scale);
        return true;
    }

    LutTable& m_lut;
    uint32_t m_inputScale = 0, m_outputScale = 0, m_meshLine = 0;
    std::vector<double> m_outputs;
};

} // namespace

bool parse3dl(std::string_view text, const std::string& name, LutTable& lut, std::string& error)
{
    return ThreeDlParser(name, lut, error).parse(text);
}
