#include <cstdio>

#include "Commands.h"
#include "CubeFile.h"
#include "LutFile.h"
#include "ToolCommon.h"
#include "ToolFiles.h"

namespace {

const char kHelp[] = "usage: zelut convert IN.cube|IN.3dl OUT.lut\n"
                     "       zelut convert --identity N OUT.lut\n"
                     "\n"
                     "Converts a 3D table in the .cube or .3dl text format into the library's\n"
                     "LUT file, outputs clamped and rounded to 8 bits.\n"
                     "  .cube  TITLE, LUT_3D_SIZE 2..65; the input range from DOMAIN_MIN and\n"
                     "         DOMAIN_MAX, or from LUT_3D_INPUT_RANGE MIN MAX (one or the other;\n"
                     "         0 to 1 when absent). A 1D shaper ahead of the table (LUT_1D_SIZE,\n"
                     "         LUT_1D_INPUT_RANGE) becomes the levels when one increasing curve\n"
                     "         serves all three channels. Keywords in any case, '#' comments,\n"
                     "         LF, CRLF or CR line ends, a UTF-8 byte-order mark.\n"
                     "  .3dl   a mesh line of N input values (any bit depth), then N^3 integer\n"
                     "         outputs with blue fastest; their depth from a 'Mesh I O' line, or\n"
                     "         the smallest of 10 to 16 bits that holds them.\n"
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
                a.positional.size() < 2 ? "expected IN.cube (or IN.3dl) and OUT.lut" : "too many arguments");
        const std::string& in = a.positional[0];
        std::string title;
        if (!readTextTable(in, lut, title, error))
            fail(error);
        from = title.empty() ? in : in + " \"" + title + "\"";
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
