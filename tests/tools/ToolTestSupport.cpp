#include "ToolTestSupport.h"

#include <cstdio>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

std::vector<std::string> ZelutRun::errLines() const
{
    std::vector<std::string> lines;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

pid_t spawnZelut(const std::vector<std::string>& args, const std::string& outPath,
    const std::string& errPath, rlim_t limit)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(::open("/dev/null", O_RDONLY), 0);
        ::dup2(::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        ::dup2(::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        const struct rlimit size = { limit, limit };
        if (limit != RLIM_INFINITY)
            ::setrlimit(RLIMIT_FSIZE, &size);
        std::vector<char*> argv { const_cast<char*>(ZELUT_EXECUTABLE) };
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(ZELUT_EXECUTABLE, argv.data());
        ::_exit(127);
    }
    return pid;
}

ZelutRun runZelut(const std::vector<std::string>& args)
{
    ZelutRun run;
    TemporaryDirectory scratch;
    const std::string outPath = scratch.file("stdout"), errPath = scratch.file("stderr");
    const pid_t pid = spawnZelut(args, outPath, errPath);
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
        run.status = WEXITSTATUS(status);
    run.out = readFileText(outPath);
    run.err = readFileText(errPath);
    return run;
}

std::string identityCubeText(uint32_t n, const char* eol)
{
    std::string text = "LUT_3D_SIZE " + std::to_string(n) + eol;
    char line[96];
    for (uint32_t b = 0; b < n; ++b)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t r = 0; r < n; ++r) {
                std::snprintf(line, sizeof line, "%.6f %.6f %.6f%s", r / double(n - 1),
                    g / double(n - 1), b / double(n - 1), eol);
                text += line;
            }
    return text;
}
