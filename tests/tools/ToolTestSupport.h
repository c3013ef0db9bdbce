/*
 * Helpers for the zelut tests: a scratch folder, files, and running the built
 * zelut program.
 *
 *   TempDir dir;
 *   writeBytes(dir.path("a.lut"), encodeLutFile(identityTable(5)));
 *   ZelutRun r = runZelut({"info", dir.path("a.lut")});
 *   EXPECT_EQ(r.status, 0) << r.err;
 */
#ifndef TESTS_TOOLS_TOOLTESTSUPPORT_H
#define TESTS_TOOLS_TOOLTESTSUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);
void writeText(const std::string& path, const std::string& text);
std::vector<uint8_t> readBytes(const std::string& path);
bool fileExists(const std::string& path);

struct ZelutRun {
    int status = -1; // exit status, or -1 when it did not exit normally
    std::string out, err;
    std::vector<std::string> errLines() const;
};
ZelutRun runZelut(const std::vector<std::string>& args);

#endif
