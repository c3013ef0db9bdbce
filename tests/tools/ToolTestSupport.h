/*
 * Running the built zelut program, and the text tables its tests feed it.
 *
 *   TemporaryDirectory dir;
 *   writeFileBytes(dir.file("a.lut"), encodeLutFile(identityTable(5)));
 *   ZelutRun r = runZelut({"info", dir.file("a.lut")});
 *   EXPECT_EQ(r.status, 0) << r.err;
 */
#ifndef TESTS_TOOLS_TOOLTESTSUPPORT_H
#define TESTS_TOOLS_TOOLTESTSUPPORT_H

#include <sys/resource.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"

struct ZelutRun {
    int status = -1; // exit status, or -1 when it did not exit normally
    std::string out, err;
    std::vector<std::string> errLines() const;
};
ZelutRun runZelut(const std::vector<std::string>& args);
// Starts zelut with standard input from /dev/null and its outputs into the
// named files, after `limit` (if given) caps the size of files it writes; the
// caller waits for it.
pid_t spawnZelut(const std::vector<std::string>& args, const std::string& outPath,
    const std::string& errPath, rlim_t limit = RLIM_INFINITY);

// An N-level identity table in .cube text (red fastest, six decimals, as
// colour tools write it), with `eol` line ends.
std::string identityCubeText(uint32_t n, const char* eol = "\n");

#endif
