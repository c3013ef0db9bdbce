// zelut: the command-line face of libZeLutEffect, built on its public C
// interface only.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "Commands.h"
#include "LibraryMessages.h"
#include "ToolFiles.h"
#include "ToolCommon.h"

namespace {

const char kUsage[]
    = "usage: zelut <command> [options] [arguments]\n"
      "\n"
      "Recolour NV12/NV21 video frames and images through 3D LUT files.\n"
      "\n"
      "commands:\n"
      "  convert   turn a .cube or .3dl table into a LUT file (or write an identity table)\n"
      "  info      show what a LUT file holds, or why the library refuses it\n"
      "  apply     render raw NV12/NV21 frames or a PNG image through a LUT file\n"
      "  bench     time the renderer on synthetic frames\n"
      "  demo      render a test chart through a sample grade and save PNGs\n"
      "\n"
      "'zelut <command> --help' describes each command; 'zelut --version' prints\n"
      "the version.\n"
      "Exit status: 0 success, 1 failure, 2 bad usage.\n";

struct Command {
    const char* name;
    int (*run)(const Args&);
};

const Command kCommands[] = { { "convert", runConvert }, { "info", runInfo }, { "apply", runApply },
    { "bench", runBench }, { "demo", runDemo } };

} // namespace

int main(int argc, char** argv)
{
    captureLibraryMessages();
    removeTemporaryOnSignals();
    if (argc < 2) {
        std::fputs("zelut: no command given; see 'zelut --help'\n", stderr);
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--version") {
        std::printf("zelut %s\n", ZELUT_VERSION);
        return 0;
    }
    if (name == "--help" || name == "-h" || name == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const Command* command = nullptr;
    for (const Command& c : kCommands)
        if (name == c.name)
            command = &c;
    if (!command) {
        std::fprintf(stderr, "zelut: unknown command '%s'; see 'zelut --help'\n", name.c_str());
        return 2;
    }
    try {
        return command->run(Args(argv + 2, argv + argc));
    } catch (const ToolError& e) {
        if (e.status == 2)
            std::fprintf(stderr, "zelut %s: %s; see 'zelut %s --help'\n", command->name,
                e.message.c_str(), command->name);
        else
            std::fprintf(stderr, "zelut %s: %s\n", command->name, e.message.c_str());
        return e.status;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "zelut %s: out of memory\n", command->name);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "zelut %s: %s\n", command->name, e.what());
    }
    return 1;
}
