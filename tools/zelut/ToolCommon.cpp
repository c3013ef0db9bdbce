#include "ToolCommon.h"

#include <unistd.h>

#include "CubeFile.h"
#include "LibraryMessages.h"
#include "LutFile.h"
#include "TextLines.h"
#include "ThreeDlFile.h"
#include "ToolFiles.h"

void fail(const std::string& message)
{
    throw ToolError { 1, message };
}

void usageError(const std::string& message)
{
    throw ToolError { 2, message };
}

std::string ParsedArgs::value(const std::string& name, const std::string& fallback) const
{
    const auto it = options.find(name);
    return it == options.end() ? fallback : it->second;
}

ParsedArgs parseArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& specs)
{
    ParsedArgs parsed;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            parsed.positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "-h" || arg == "--help") {
            parsed.help = true;
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        const OptionSpec* spec = nullptr;
        for (const OptionSpec& s : specs)
            if (name == s.name)
                spec = &s;
        if (!spec)
            usageError("unknown option " + name);
        if (parsed.has(name))
            usageError(name + " given twice");
        if (!spec->takesValue) {
            if (equals != std::string::npos)
                usageError(name + " takes no value");
            parsed.options[name] = "";
        } else if (equals != std::string::npos) {
            parsed.options[name] = arg.substr(equals + 1);
        } else {
            if (i + 1 == args.size())
                usageError(name + " needs a value");
            parsed.options[name] = args[++i];
        }
    }
    return parsed;
}

uint32_t parseCount(const std::string& option, const std::string& text, uint32_t min, uint32_t max)
{
    uint64_t value = 0;
    bool ok = !text.empty() && text.size() <= 10;
    for (char c : text)
        ok = ok && c >= '0' && c <= '9';
    if (ok)
        value = std::stoull(text);
    if (!ok || value < min || value > max)
        usageError(option + " must be a whole number from " + std::to_string(min) + " to "
            + std::to_string(max) + ", not '" + text + "'");
    return static_cast<uint32_t>(value);
}

void parseSize(const std::string& text, uint32_t& width, uint32_t& height)
{
    const size_t x = text.find('x');
    if (x == std::string::npos)
        usageError("--size must look like 1920x1080, not '" + text + "'");
    width = parseCount("--size width", text.substr(0, x), 1, 16384);
    height = parseCount("--size height", text.substr(x + 1), 1, 16384);
}

const std::vector<OptionSpec>& RenderSettings::options()
{
    static const std::vector<OptionSpec> specs = { { "--format", true }, { "--matrix", true },
        { "--range", true }, { "--threads", true } };
    return specs;
}

RenderSettings RenderSettings::from(const ParsedArgs& args)
{
    RenderSettings s;
    const std::string format = args.value("--format", "nv12");
    if (format != "nv12" && format != "nv21")
        usageError("--format must be nv12 or nv21, not '" + format + "'");
    s.nv21 = format == "nv21";
    const std::string matrix = args.value("--matrix", "bt709");
    if (matrix != "bt601" && matrix != "bt709")
        usageError("--matrix must be bt601 or bt709, not '" + matrix + "'");
    s.matrix = matrix == "bt601" ? ColourMatrix::Bt601 : ColourMatrix::Bt709;
    const std::string range = args.value("--range", "video");
    if (range != "video" && range != "full")
        usageError("--range must be video or full, not '" + range + "'");
    s.range = range == "full" ? ColourRange::Full : ColourRange::Video;
    if (args.has("--threads"))
        s.threads = parseCount("--threads", args.value("--threads"), 0, 256);
    return s;
}

std::string RenderSettings::describe() const
{
    return std::string(nv21 ? "NV21" : "NV12") + ", "
        + (matrix == ColourMatrix::Bt601 ? "BT.601" : "BT.709") + " "
        + (range == ColourRange::Video ? "video" : "full") + " range";
}

std::string RenderSettings::describeThreads() const
{
    if (threads == 1)
        return "1 thread (the caller's)";
    if (threads == 0) {
        const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
        return std::to_string(online > 0 ? online : 1) + " threads (one per processor)";
    }
    return std::to_string(threads) + " threads";
}

bool readTextTable(const std::string& path, LutTable& lut, std::string& title, std::string& error)
{
    std::string text;
    if (!readWholeFile(path, text, error, kTextTableMaxBytes))
        return false;
    title.clear();
    if (endsWithIgnoringCase(path, ".3dl"))
        return parse3dl(text, path, lut, error);
    CubeTable cube;
    if (!parseCube(text, path, cube, error) || !cubeToLut(cube, path, lut, error))
        return false;
    title = cube.title;
    return true;
}

bool isTextTablePath(const std::string& path)
{
    return endsWithIgnoringCase(path, ".cube") || endsWithIgnoringCase(path, ".3dl");
}

TablePtr loadTable(const std::string& path, std::string* fileBytes)
{
    std::string error;
    if (isTextTablePath(path)) {
        LutTable lut;
        std::string title;
        if (!readTextTable(path, lut, title, error))
            fail(error);
        return loadTableBytes(encodeLutFile(lut), path);
    }
    // The largest file whose levels start right after the header; a table
    // whose levels lie further in is read by the library from the file.
    const uint64_t limit = kLut3DHeaderBytes + 4 * kLut3DMaxLevels
        + Lut3DEntryBytes(kLut3DMaxLevels, kLut3DEntryWide, true);
    std::string bytes;
    bool truncated = false;
    if (!readFilePrefix(path, limit, bytes, truncated, error))
        fail(error);
    clearLibraryMessages();
    TablePtr table(ZecLut3DLoadTableFromMemory(bytes.data(), bytes.size()));
    if (!table && truncated) {
        clearLibraryMessages();
        table.reset(ZecLut3DLoadTableFromFile(path.c_str()));
    }
    if (!table) {
        // The library names most problems itself; for the ones it refuses
        // silently, the tool's own reading of the same bytes gives the reason.
        const std::string problem = lutFileProblem(bytes);
        fail(path + ": " + libraryReason(problem.empty() ? "refused by the library" : problem));
    }
    if (fileBytes)
        *fileBytes = std::move(bytes);
    return table;
}

TablePtr loadTableBytes(const std::vector<uint8_t>& bytes, const std::string& what)
{
    clearLibraryMessages();
    TablePtr table(ZecLut3DLoadTableFromMemory(bytes.data(), bytes.size()));
    if (!table)
        fail(what + ": the library refused the table: " + libraryReason("no reason given"));
    return table;
}

void renderFrame(Lut3DEffect* effect, Lut3DTable* table, const RenderSettings& settings,
    YuvFrame& frame, YuvFrame& out)
{
    Lut3DFrame source = { frame.luma(), frame.chroma(), nullptr, static_cast<int32_t>(frame.width),
        static_cast<int32_t>(frame.chromaStride()) };
    Lut3DFrame destination = { out.luma(), out.chroma(), nullptr, static_cast<int32_t>(out.width),
        static_cast<int32_t>(out.chromaStride()) };
    clearLibraryMessages();
    if (!ZecLut3DRenderEffect(effect, table, &source, &destination, settings.nv21 ? 1 : 0,
            settings.matrix == ColourMatrix::Bt601 ? 0 : 1,
            settings.range == ColourRange::Full ? 1 : 0, frame.width,
            static_cast<int32_t>(frame.height), 0))
        fail("the library refused to render a " + std::to_string(frame.width) + "x"
            + std::to_string(frame.height) + " frame: " + libraryReason("no reason given"));
}

double secondsSince(const std::chrono::steady_clock::time_point& start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
