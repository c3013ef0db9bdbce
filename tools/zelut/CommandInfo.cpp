#include <cstdio>

#include "Commands.h"
#include "LutFile.h"
#include "ToolCommon.h"
#include "ToolFiles.h"

namespace {

const char kHelp[] = "usage: zelut info FILE.lut\n"
                     "\n"
                     "Loads FILE.lut through the library and shows its header fields, the level\n"
                     "count N, whether the levels are uniform (evenly spaced from 0 to 1, which\n"
                     "takes the renderer's fast path), the first and last levels and a CRC-32 of\n"
                     "the entries. A file the library refuses is reported with the library's\n"
                     "reason and exit status 1.\n";

} // namespace

int runInfo(const Args& args)
{
    const ParsedArgs a = parseArgs(args, {});
    if (a.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (a.positional.size() != 1)
        usageError(a.positional.empty() ? "missing FILE.lut" : "too many arguments");
    const std::string& path = a.positional[0];
    // The library decides whether the file is acceptable; the fields are
    // then read from the same bytes for display.
    std::string bytes, error;
    const TablePtr table = loadTable(path, &bytes);
    LutFileInfo info;
    if (!decodeLutFile(bytes, info, error))
        fail(path + ": " + error);
    std::printf("file:         %s (%llu bytes)\n", path.c_str(),
        static_cast<unsigned long long>(info.fileBytes));
    std::printf("version:      %u\n", info.version);
    std::printf("levels (N):   %u\n", info.levelCount);
    std::printf("entry type:   %u (%s)\n", info.entryType,
        info.entryType == 0 ? "8-bit RGB" : "32-bit values");
    std::printf("dimensions:   %u (%s)\n", info.dimensions, info.dimensions != 0 ? "3D" : "1D");
    std::printf("level offset: %llu\n", static_cast<unsigned long long>(info.levelOffset));
    std::printf("entries:      %llu bytes\n", static_cast<unsigned long long>(info.entryBytes));
    if (info.trailingBytes)
        std::printf("trailing:     %llu bytes after the entries (ignored)\n",
            static_cast<unsigned long long>(info.trailingBytes));
    std::printf("uniform:      %s\n", levelsUniform(info.levels) ? "yes" : "no");
    std::printf("first level:  %.9g\n", static_cast<double>(info.levels.front()));
    std::printf("last level:   %.9g\n", static_cast<double>(info.levels.back()));
    std::printf("checksum:     %08x (CRC-32 of the entries)\n", info.entryCrc32);
    return 0;
}
