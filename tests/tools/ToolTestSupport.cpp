#include "ToolTestSupport.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/zelut-test-XXXXXX";
    if (::mkdtemp(&templ[0]))
        m_path = templ;
}

TempDir::~TempDir()
{
    if (!m_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(
        reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

std::vector<uint8_t> readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(
        std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool fileExists(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::vector<std::string> ZelutRun::errLines() const
{
    std::vector<std::string> lines;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

ZelutRun runZelut(const std::vector<std::string>& args)
{
    ZelutRun run;
    TempDir scratch;
    const std::string outPath = scratch.path("stdout"), errPath = scratch.path("stderr");
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int in = ::open("/dev/null", O_RDONLY);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(ZELUT_EXECUTABLE));
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(ZELUT_EXECUTABLE, argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
        run.status = WEXITSTATUS(status);
    const std::vector<uint8_t> out = readBytes(outPath), err = readBytes(errPath);
    run.out.assign(out.begin(), out.end());
    run.err.assign(err.begin(), err.end());
    return run;
}
