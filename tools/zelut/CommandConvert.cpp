#include <cstdio>

#include "Commands.h"
#include "CubeFile.h"
#include "LutFile.h"
#include "ToolCommon.h"
#include "ToolFiles.h"

namespace {

const char kHelp[] = "usage: zelut convert IN.cube OUT.lut\n"
                     "       zelut convert --identity N OUT.lut\n"
                     "\n"
                     "Converts a 3D table in the .cube text format into the library's LUT file:\n"
                     "level values from DOMAIN_MIN/DOMAIN_MAX (0 to 1 when absent), entries\n"
                     "re-ordered so that the blue index runs fastest, outputs clamped to 0..1 and\n"
                     "rounded to 8 bits. TITLE, LUT_3D_SIZE 2..65, '#' comments, blank lines and\n"
                     "CRLF line ends are accepted; one-dimensional tables are not.\n"
                     "\n"
                     "  --identity N   write an N-level identity table (N from 2 to 65) instead\n";

} // namespace

int runConvert(const Args& args)
{
    const ParsedArgs a = parseArgs(args, { { "--identity", true } });
    if (a.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string error;
    LutTable lut;
    std::string from;
    if (a.has("--identity")) {
        if (a.positional.size() != 1)
            usageError(a.positional.empty() ? "missing OUT.lut" : "--identity takes only OUT.lut");
        lut = identityTable(
            parseCount("--identity", a.value("--identity"), kCubeMinSize, kCubeMaxSize));
        from = "identity";
    } else {
        if (a.positional.size() != 2)
            usageError(
                a.positional.size() < 2 ? "expected IN.cube and OUT.lut" : "too many arguments");
        const std::string& in = a.positional[0];
        std::string text;
        if (!readWholeFile(in, text, error))
            fail(error);
        CubeTable cube;
        if (!parseCube(text, in, cube, error) || !cubeToLut(cube, in, lut, error))
            fail(error);
        from = cube.title.empty() ? in : in + " \"" + cube.title + "\"";
    }
    const std::string& out = a.positional.back();
    if (!a.has("--identity") && !outputIsNotAnInput(out, {a.positional[0]}, error))
        fail(error);
    const std::vector<uint8_t> bytes = encodeLutFile(lut);
    if (!writeFileReplacing(out, bytes.data(), bytes.size(), error))
        fail(error);
    std::printf("%s: %u-level 3D table (%zu bytes) from %s\n", out.c_str(), lut.n, bytes.size(),
        from.c_str());
    return 0;
}
