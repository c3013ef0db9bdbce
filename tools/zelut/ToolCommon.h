/*
 * Shared pieces of the zelut subcommands: failures, option parsing and the
 * library handles.
 *
 *   ParsedArgs a = parseArgs("apply", args, {{"--lut", true}, {"--size", true}});
 *   if (a.help) { std::fputs(kApplyHelp, stdout); return 0; }
 *   TablePtr table = loadTable(a.value("--lut"));       // fails with the library's reason
 *
 * fail() ends the command with status 1 (the work could not be done),
 * usageError() with status 2 (the command line is wrong); main prints the
 * message as one line on stderr.
 */
#ifndef ZELUT_TOOLCOMMON_H
#define ZELUT_TOOLCOMMON_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ColourConvert.h"
#include "LutFile.h"
#include "ZeLut3D.h"

struct ToolError {
    int status;
    std::string message;
};

[[noreturn]] void fail(const std::string& message);
[[noreturn]] void usageError(const std::string& message);

struct OptionSpec {
    const char* name; // "--lut"
    bool takesValue;
};

struct ParsedArgs {
    bool help = false;
    std::map<std::string, std::string> options; // flags map to ""
    std::vector<std::string> positional;

    bool has(const std::string& name) const { return options.count(name) != 0; }
    std::string value(const std::string& name, const std::string& fallback = "") const;
};

// Accepts "--name value", "--name=value", "-h"/"--help" and "--" before
// positionals that begin with '-'.
ParsedArgs parseArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& specs);

uint32_t parseCount(const std::string& option, const std::string& text, uint32_t min, uint32_t max);
void parseSize(const std::string& text, uint32_t& width, uint32_t& height);

// --format, --matrix, --range and --threads, shared by apply, bench and demo.
struct RenderSettings {
    bool nv21 = false;
    ColourMatrix matrix = ColourMatrix::Bt709;
    ColourRange range = ColourRange::Video;
    uint32_t threads = 0; // 0: one worker per online processor

    static const std::vector<OptionSpec>& options();
    static RenderSettings from(const ParsedArgs& args);
    std::string describe() const; // "NV12, BT.709 video range"
    std::string describeThreads() const;
};

struct TableDeleter {
    void operator()(Lut3DTable* t) const { ZecLut3DDestroyTable(t); }
};
struct EffectDeleter {
    void operator()(Lut3DEffect* e) const { ZecLut3DDestroyEffect(e); }
};
using TablePtr = std::unique_ptr<Lut3DTable, TableDeleter>;
using EffectPtr = std::unique_ptr<Lut3DEffect, EffectDeleter>;

// A .cube or .3dl table (by the path's ending, any case) read and converted.
bool isTextTablePath(const std::string& path);
bool readTextTable(const std::string& path, LutTable& lut, std::string& title, std::string& error);

// Loads a LUT file (or a .cube or .3dl table, converted on the fly) through
// the library's public loader, reading the file once and at most as far as
// a valid table reaches; fails with the library's reason. fileBytes, when
// given, receives the bytes read.
TablePtr loadTable(const std::string& path, std::string* fileBytes = nullptr);
// Loads LUT file bytes made in memory; `what` names them in a failure.
TablePtr loadTableBytes(const std::vector<uint8_t>& bytes, const std::string& what);

// Renders frame into out (the same size; may be the same object).
void renderFrame(Lut3DEffect* effect, Lut3DTable* table, const RenderSettings& settings,
    YuvFrame& frame, YuvFrame& out);

double secondsSince(const std::chrono::steady_clock::time_point& start);

#endif
